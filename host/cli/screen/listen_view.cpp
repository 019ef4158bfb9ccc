#include "host/cli/screen/listen_view.h"

#include <algorithm>

#define NCURSES_NOMACROS
#include <ncurses.h>

namespace dx7::cli {

namespace {

constexpr qint64 VIEW_INTERVAL_US = 200000;
// Above the table, and below it.
constexpr int VIEW_HEAD_LINES = 2;
constexpr int VIEW_FOOT_LINES = 1;

}  // namespace

ListenView::ListenView(std::unique_ptr<TerminalScreen> screen, const BusWatch& watch,
                       const RegisterIndex& index, const QString& line)
    : screen_(std::move(screen)), watch_(watch), index_(index), line_(line) {}

void ListenView::serve(qint64 us) {
    for (int key = screen_->key(); key != TerminalScreen::NO_KEY; key = screen_->key()) {
        handleKey(key);
        drawNow_ = true;
    }
    if (drawNow_ || us - drawnUs_ >= VIEW_INTERVAL_US) {
        draw(us);
        drawnUs_ = us;
        drawNow_ = false;
    }
}

void ListenView::handleKey(int key) {
    const int page = std::max(screen_->height() - VIEW_HEAD_LINES - VIEW_FOOT_LINES, 1);
    switch (key) {
        case 'q':
            quit_ = true;
            break;
        case KEY_UP:
            --first_;
            break;
        case KEY_DOWN:
            ++first_;
            break;
        case KEY_PPAGE:
            first_ -= page;
            break;
        case KEY_NPAGE:
            first_ += page;
            break;
        default:
            break;
    }
}

void ListenView::draw(qint64 us) {
    const int width = screen_->width();
    const int room = screen_->height() - VIEW_HEAD_LINES - VIEW_FOOT_LINES;
    // What is wrong comes first, then what is polled.
    QStringList lines = watch_.signs();
    lines += requestLines(watch_, index_);
    lines += stationLines(watch_);
    first_ = std::clamp(first_, 0, std::max(lines.size() - std::max(room, 1), 0));
    screen_->erase();
    screen_->put(0, width, QStringLiteral("listening to ") + line_);
    screen_->put(1, width, listenSum(watch_, us));
    for (int row = 0; row < room && first_ + row < lines.size(); ++row) {
        screen_->put(VIEW_HEAD_LINES + row, width, lines.at(first_ + row));
    }
    const QString more = lines.size() > room ? QStringLiteral("  Up/Down more lines") : QString();
    // The last column stays free: a character in the last place of all would scroll the window.
    screen_->put(screen_->height() - 1, width - 1, QStringLiteral("q quit") + more, true);
    screen_->show();
}

}  // namespace dx7::cli
