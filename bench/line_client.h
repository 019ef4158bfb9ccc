/// \file
/// Programs that read the same blocks from the same device: the host with the driver, two clients that share
/// no code with it, and a loop that does nothing but send and receive.
#ifndef DX7_BENCH_LINE_CLIENT_H
#define DX7_BENCH_LINE_CLIENT_H

#include <memory>
#include <string>

namespace dx7bench {

/// The blocks: the first 40 whole sub-groups of the parameters F, ten registers each.
const int LINE_BLOCKS = 40;
const int BLOCK_REGISTERS = 10;
/// Whole ones in a group.
const int SUBGROUPS_USED = 5;

/// Bytes of a request for a block and of its reply.
const int REQUEST_BYTES = 8;
const int REPLY_BYTES = 5 + 2 * BLOCK_REGISTERS;

/// The first register of a block: high byte group, low byte the packed decimal index.
inline int registerOf(int block) {
    return 0xF000 + 0x100 * (block / SUBGROUPS_USED) + 0x10 * (block % SUBGROUPS_USED);
}

struct LineSetup {
    /// Of the pseudo-terminal.
    std::string path;
    /// Of a paced line, else 0.
    int baud = 0;
    /// Of a device on this machine, in place of a pseudo-terminal; else 0.
    int tcpPort = 0;
};

/// Seconds that one character takes on a paced line, and the silence that must lie before a request or reply.
inline double characterSeconds(int baud) {
    return 10.0 / baud;
}
inline double silenceSeconds(int baud) {
    return baud > 19200 ? 0.00175 : 3.5 * characterSeconds(baud);
}

/// What a client has sent besides the requests for the blocks.
struct Extra {
    double queries = 0;
    /// Those of the queries and of their answers.
    double bytes = 0;
};

/// A client that is connected. Throws std::runtime_error whenever a read fails.
class LineClient {
public:
    virtual ~LineClient() = default;
    /// Reads one block after the other, `count` of them, from where the last call ended.
    virtual void read(int count) = 0;
    /// Since the client was made.
    virtual Extra extra() const { return {}; }
};

/// What the clients are told when the line is not paced: a speed at which none of them waits longer than it
/// must.
const int UNPACED_BAUD = 115200;

/// A connected socket that sends at once. Throws std::runtime_error.
int connectedSocket(int port);

/// The host as dx7 runs it, with the driver loaded at run time: DX7_DRIVER names another library. Polls,
/// keeps the values and proves the replies. Keeps the silent interval on a paced line and none on the others.
std::unique_ptr<LineClient> makeHostClient(const LineSetup& setup);
/// libmodbus, which keeps no silent interval. Over TCP its RTU client gets the socket.
std::unique_ptr<LineClient> makeLibmodbusClient(const LineSetup& setup);
/// QtSerialBus's QModbusRtuSerialMaster, with the shortest delay between frames that it accepts. Not over
/// TCP.
std::unique_ptr<LineClient> makeSerialBusClient(const LineSetup& setup);
/// Requests made beforehand, sent one after the other; it waits for the reply, receives it and checks its
/// CRC: less is not possible. On a paced line it keeps the silent interval, and sleeps from the first byte of
/// a reply to the last.
std::unique_ptr<LineClient> makeBareClient(const LineSetup& setup);

}  // namespace dx7bench

#endif
