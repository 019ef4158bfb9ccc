/// \file
/// A serial line without hardware.
#ifndef DX7_TESTS_KIT_PSEUDO_TERMINAL_H
#define DX7_TESTS_KIT_PSEUDO_TERMINAL_H

#include <string>

namespace kit {

/// A raw pseudo-terminal: programs open it by its name, the test has the other end. It is there before and
/// after the programs that open it.
class PseudoTerminal {
public:
    PseudoTerminal();
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// Reads and writes do not wait.
    int end() const { return end_; }
    const std::string& name() const { return name_; }

private:
    int end_;
    int held_;
    std::string name_;
};

}  // namespace kit

#endif
