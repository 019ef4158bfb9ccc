#include "host/cli/screen/terminal_kind.h"

#include <unistd.h>

// Apart from the rest, because these define macros with ordinary names.
#include <curses.h>
#include <term.h>

namespace dx7::cli {

namespace {

std::string collected;

int collect(int character) {
    collected += static_cast<char>(character);
    return character;
}

}  // namespace

std::string farewellOfScreen() {
    collected.clear();
    for (const char* sequence : {exit_attribute_mode, keypad_local, cursor_normal, exit_ca_mode}) {
        if (sequence != nullptr) {
            tputs(sequence, 1, collect);
        }
    }
    return collected;
}

TerminalKind terminalKind() {
    int found = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &found) != OK) {
        return TerminalKind::Unknown;
    }
    const bool movesCursor = cursor_address != nullptr;
    del_curterm(cur_term);
    return movesCursor ? TerminalKind::Screen : TerminalKind::Lines;
}

}  // namespace dx7::cli
