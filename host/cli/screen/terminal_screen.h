/// \file
/// The terminal on standard input and output as a window of lines.
#ifndef DX7_CLI_TERMINAL_SCREEN_H
#define DX7_CLI_TERMINAL_SCREEN_H

#include <QString>
#include <memory>

#include "host/cli/stop_signal.h"

/// A terminal that ncurses, whose header has macros for many words, has taken over, and its window.
struct screen;
struct _win_st;

namespace dx7::cli {

/// Takes the terminal over while it lives, however the program ends. At most one lives at a time; one thread.
class TerminalScreen {
public:
    /// Null, with the reason in `why`, on a terminal that cannot show it.
    static std::unique_ptr<TerminalScreen> open(QString* why);
    ~TerminalScreen();

    /// Whether standard input and output are a terminal.
    static bool possible();

    /// The next key that was typed, as ncurses numbers them; NO_KEY where there is none. Does not wait.
    static constexpr int NO_KEY = -1;
    int key();
    int height() const;
    int width() const;

    /// Begins a new picture, which show() shows.
    void erase();
    /// A whole line of `columns`, cut where it must be.
    void put(int row, int columns, const QString& text, bool reverse = false);
    void show();

private:
    Q_DISABLE_COPY(TerminalScreen)
    TerminalScreen(std::unique_ptr<TerminalGuard> guard, screen* terminal);

    std::unique_ptr<TerminalGuard> guard_;
    screen* terminal_;
    _win_st* window_;
};

}  // namespace dx7::cli

#endif
