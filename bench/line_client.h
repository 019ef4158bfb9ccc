/// \file
/// Programs that read the same blocks from the same device: the host loop with the driver, and two clients
/// that share no code with it.
#ifndef DX7_BENCH_LINE_CLIENT_H
#define DX7_BENCH_LINE_CLIENT_H

#include <memory>
#include <string>

namespace dx7bench {

/// The blocks: the first 40 whole sub-groups of the parameters F, ten registers each.
const int LINE_BLOCKS = 40;
const int BLOCK_REGISTERS = 10;
const int SUBGROUPS_USED = 5;  ///< Whole ones in a group.

/// Bytes of a request for a block and of its reply.
const int REQUEST_BYTES = 8;
const int REPLY_BYTES = 5 + 2 * BLOCK_REGISTERS;

struct LineSetup {
    std::string path;  ///< Of the pseudo-terminal.
    int baud = 0;      ///< Of a paced line, else 0.
};

/// A client that is connected. Throws std::runtime_error whenever a read fails.
class LineClient {
public:
    virtual ~LineClient() = default;
    /// Reads one block after the other, `count` of them, from where the last call ended.
    virtual void read(int count) = 0;
};

/// What the clients are told when the line is not paced: a speed at which none of them waits longer than it
/// must.
const int UNPACED_BAUD = 115200;

/// Our loop, with the driver loaded at run time: DX7_DRIVER names another library. Keeps the silent interval
/// on a paced line and none on the other.
std::unique_ptr<LineClient> makeHostClient(const LineSetup& setup);
/// libmodbus, which keeps no silent interval.
std::unique_ptr<LineClient> makeLibmodbusClient(const LineSetup& setup);
/// QtSerialBus's QModbusRtuSerialMaster, with the shortest delay between frames that it accepts.
std::unique_ptr<LineClient> makeSerialBusClient(const LineSetup& setup);

}  // namespace dx7bench

#endif
