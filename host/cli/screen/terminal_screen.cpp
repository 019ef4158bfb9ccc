#include "host/cli/screen/terminal_screen.h"

#include <unistd.h>

#include <clocale>

#include "host/cli/screen/screen_text.h"
#include "host/cli/screen/terminal_kind.h"

#define NCURSES_NOMACROS
#include <ncurses.h>

namespace dx7::cli {

namespace {

constexpr int ESCAPE_DELAY_MS = 50;

}  // namespace

std::unique_ptr<TerminalScreen> TerminalScreen::open(QString* why) {
    std::setlocale(LC_CTYPE, "");
    const QString name = QString::fromLocal8Bit(qgetenv("TERM"));
    // Looked up before a screen is made: ncurses never gives back the memory of one that it cannot make.
    const TerminalKind kind = terminalKind();
    if (kind == TerminalKind::Unknown) {
        *why = QStringLiteral("the terminal \"%1\" is unknown").arg(name);
        return nullptr;
    }
    auto guard = std::make_unique<TerminalGuard>();
    screen* const terminal = kind == TerminalKind::Screen ? newterm(nullptr, stdout, stdin) : nullptr;
    if (terminal == nullptr) {
        *why = QStringLiteral("the terminal \"%1\" cannot show a table").arg(name);
        return nullptr;
    }
    TerminalGuard::setFarewell(farewellOfScreen());
    return std::unique_ptr<TerminalScreen>(new TerminalScreen(std::move(guard), terminal));
}

TerminalScreen::TerminalScreen(std::unique_ptr<TerminalGuard> guard, screen* terminal)
    : guard_(std::move(guard)), terminal_(terminal), window_(stdscr) {
    cbreak();
    noecho();
    nonl();
    keypad(window_, TRUE);
    nodelay(window_, TRUE);
    curs_set(0);
    set_escdelay(ESCAPE_DELAY_MS);
}

TerminalScreen::~TerminalScreen() {
    endwin();
    delscreen(terminal_);
}

bool TerminalScreen::possible() {
    return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
}

int TerminalScreen::key() {
    const int key = wgetch(window_);
    return key == ERR ? NO_KEY : key;
}

int TerminalScreen::height() const {
    return getmaxy(window_);
}

int TerminalScreen::width() const {
    return getmaxx(window_);
}

void TerminalScreen::erase() {
    werase(window_);
}

void TerminalScreen::put(int row, int columns, const QString& text, bool reverse) {
    if (reverse) {
        wattron(window_, A_REVERSE);
    }
    // In the locale's own characters: those of another one would be shown as several each.
    mvwaddstr(window_, row, 0, padded(elided(text, columns), columns).toLocal8Bit().constData());
    if (reverse) {
        wattroff(window_, A_REVERSE);
    }
}

void TerminalScreen::show() {
    wrefresh(window_);
}

}  // namespace dx7::cli
