/// \file
/// Standard input as the device's command channel.
#ifndef DX7_DEVICE_PROGRAM_TYPED_COMMANDS_H
#define DX7_DEVICE_PROGRAM_TYPED_COMMANDS_H

#include <string>

#include "device/program/output.h"
#include "device/server.h"

namespace dx7sim {

/// Cuts what is typed into lines, has `server` carry them out and shows the answers on `output`; both outlive
/// it.
class TypedCommands {
public:
    TypedCommands(Server& server, Output& output) : server_(server), output_(output) {}

    /// The descriptor to wait for; -1 when standard input has ended.
    int descriptor() const;

    /// Takes what is there and carries out the lines that are whole. When
    /// standard input has ended, what follows the last line end counts as a line.
    void read();

    /// Whether "quit" was among them.
    bool quit() const { return quit_; }

private:
    void carryOutLines();
    void dropLongLine();

    Server& server_;
    Output& output_;
    std::string typed_;
    /// Up to the end of the line.
    bool drops_ = false;
    bool open_ = true;
    bool quit_ = false;
};

}  // namespace dx7sim

#endif
