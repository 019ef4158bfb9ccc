#include "terminal_kind.h"

#include <unistd.h>

// Apart from the rest, because these define macros with ordinary names.
#include <curses.h>
#include <term.h>

namespace dx7::cli {

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
