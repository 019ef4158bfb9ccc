#include "host/cli/screen/live_table.h"

#include <algorithm>

#include "host/cli/screen/live_view.h"
#include "host/cli/screen/screen_text.h"
#include "host/cli/screen/statistics_output.h"
#include "host/error.h"

#define NCURSES_NOMACROS
#include <ncurses.h>

namespace dx7::cli {

namespace {

constexpr qint64 DRAW_INTERVAL_US = 200000;
constexpr int KEY_ESCAPE = 27;
constexpr int KEY_RETURN = '\r';
constexpr int KEY_RUBOUT = 127;
constexpr int KEY_CTRL_H = 8;
constexpr int TITLE_LINES = 1;
constexpr int HEAD_LINES = 2;
constexpr int MESSAGE_LINES = 3;

}  // namespace

std::unique_ptr<LiveTable> LiveTable::open(Connection& connection, QString* why) {
    std::unique_ptr<TerminalScreen> screen = TerminalScreen::open(why);
    return std::unique_ptr<LiveTable>(screen ? new LiveTable(connection, std::move(screen)) : nullptr);
}

LiveTable::LiveTable(Connection& connection, std::unique_ptr<TerminalScreen> screen)
    : screen_(std::move(screen)), connection_(connection) {
    EngineEvents events;
    events.line = [this](bool open) {
        lineOpen_ = open;
        drawNow_ = true;
        // The message about the line is out of date.
        message_.clear();
        if (!open && pendingWrites_ > 0) {
            message_ = QStringLiteral("the line was lost: what was being written is sent when it is back");
        }
    };
    connection_.setEvents(events);
    connection_.keepNotices();
}

LiveTable::~LiveTable() {
    connection_.setEvents({});
}

QStringList LiveTable::takeUnfinished() {
    ending_ = true;
    connection_.engine().abandonOperations(QStringLiteral("the table ended"));
    return unfinished_;
}

void LiveTable::serve() {
    for (int key = screen_->key(); key != TerminalScreen::NO_KEY; key = screen_->key()) {
        handleKey(key);
        drawNow_ = true;
    }
    const qint64 nowUs = connection_.clock().nowUs();
    if (drawNow_ || nowUs - drawnUs_ >= DRAW_INTERVAL_US) {
        draw();
        drawnUs_ = nowUs;
        drawNow_ = false;
    }
}

void LiveTable::handleKey(int key) {
    if (key == KEY_RESIZE) {
        return;
    }
    // A message has been read when the user goes on.
    message_.clear();
    noticesRead_ = connection_.notices().said().size();
    if (typing_) {
        handleTyping(key);
    } else {
        handleCommand(key);
    }
}

void LiveTable::handleTyping(int key) {
    if (key == KEY_ESCAPE) {
        typing_ = false;
    } else if (key == KEY_RETURN || key == '\n' || key == KEY_ENTER) {
        typing_ = false;
        sendWrite();
    } else if (key == KEY_BACKSPACE || key == KEY_RUBOUT || key == KEY_CTRL_H) {
        typed_.erase();
    } else if (key < KEY_MIN) {
        typed_.take(key);
    }
}

void LiveTable::handleCommand(int key) {
    const int last = connection_.engine().table().size() - 1;
    const int page = std::max(screen_->height() - HEAD_LINES - 1, 1);
    if (showStatistics_ && statistics_.scroll(key, page)) {
        return;
    }
    switch (key) {
        case 'q':
            quit_ = true;
            break;
        case 's':
            showStatistics_ = !showStatistics_;
            break;
        case 'w':
            beginWrite();
            break;
        case KEY_UP:
            selected_ = std::max(selected_ - 1, 0);
            break;
        case KEY_DOWN:
            selected_ = std::min(selected_ + 1, last);
            break;
        case KEY_PPAGE:
            selected_ = std::max(selected_ - page, 0);
            break;
        case KEY_NPAGE:
            selected_ = std::min(selected_ + page, last);
            break;
        default:
            break;
    }
}

void LiveTable::beginWrite() {
    if (refuseWithoutLine()) {
        return;
    }
    const Point& point = connection_.engine().table().points().at(selected_);
    try {
        checkWritable(point, 1);
        typed_.clear();
        typing_ = true;
        showStatistics_ = false;
    } catch (const UsageError& error) {
        message_ = error.text();
    }
}

// A value that is sent minutes later, when the line happens to be back, is not what the user wanted.
bool LiveTable::refuseWithoutLine() {
    if (!lineOpen_) {
        message_ = QStringLiteral("nothing is written while there is no line");
    }
    return !lineOpen_;
}

void LiveTable::sendWrite() {
    if (refuseWithoutLine()) {
        return;
    }
    const Point point = connection_.engine().table().points().at(selected_);
    try {
        WriteRequest request;
        request.first = point;
        request.name = point.name;
        const QString value = typed_.text();
        request.items = itemsFromText(point.format, point.type, value);
        checkWrite(request);
        message_ = QStringLiteral("writing %1 to %2").arg(value, point.name);
        ++pendingWrites_;
        connection_.engine().write(request, [this, point, value](const Transaction& transaction) {
            --pendingWrites_;
            writeEnded(point.name, value, transaction);
        });
    } catch (const UsageError& error) {
        message_ = error.text();
    }
}

void LiveTable::writeEnded(const QString& name, const QString& value, const Transaction& transaction) {
    drawNow_ = true;
    if (ending_) {
        unfinished_ += QStringLiteral("%1 = %2: %3").arg(name, value, unwrittenText(transaction));
    } else if (transaction.good()) {
        message_ = QStringLiteral("%1 was acknowledged").arg(name);
    } else if (transaction.unsettled) {
        message_ =
            QStringLiteral("it is unknown whether %1 was written: %2").arg(name, outcomeText(transaction));
    } else {
        message_ = QStringLiteral("%1 was not written: %2").arg(name, outcomeText(transaction));
    }
}

// A message takes the place of the keys' help, in as many lines as it needs.
QStringList LiveTable::statusLines(int width) const {
    if (typing_) {
        return {typingLine(connection_.engine().table().points().at(selected_).name, typed_.text(), width)};
    }
    if (!message_.isEmpty()) {
        return wrapped(message_, width, MESSAGE_LINES);
    }
    const QStringList& notices = connection_.notices().said();
    if (notices.size() > noticesRead_ && !showStatistics_) {
        return wrapped(notices.last(), width, MESSAGE_LINES);
    }
    if (showStatistics_) {
        return {QStringLiteral("q quit  s table") + statistics_.keysText()};
    }
    const QStringList keys{QStringLiteral("q quit  w write  s statistics")};
    const QString cause = selectedCause();
    return cause.isEmpty() ? keys : wrapped(cause, width, MESSAGE_LINES) + keys;
}

// Why the selected item is bad, which its row may have no room for; empty when it is not.
QString LiveTable::selectedCause() const {
    const ValueTable& table = connection_.engine().table();
    const QString fault = faultText(table.state(selected_), connection_.clock().nowUs());
    return fault.isEmpty() ? fault : QStringLiteral("%1: %2").arg(table.points().at(selected_).name, fault);
}

void LiveTable::draw() {
    const int height = screen_->height();
    const int width = screen_->width();
    screen_->erase();
    const Counters& all = connection_.engine().statistics().all();
    screen_->put(
        0, width,
        heading(describeLine(connection_.settings()),
                QStringLiteral("%1  %2, %3 bad%4")
                    .arg(QLatin1String(lineOpen_ ? "" : "  NO LINE"), counted(all.requests, "request"))
                    .arg(all.bad())
                    .arg(disturbanceText(all)),
                width),
        false);
    // The last column stays free: a character in the last place of all would scroll the window.
    const int foot = statusLines(width - 1).size();
    if (showStatistics_) {
        drawStatistics(height - foot, width);
    } else {
        drawRows(height - foot, width);
    }
    // What the keys do may have changed with what the statistics show; the number of lines has not.
    const QStringList status = statusLines(width - 1);
    for (int row = 0; row < status.size(); ++row) {
        screen_->put(height - status.size() + row, width - 1, status.at(row), true);
    }
    screen_->show();
}

void LiveTable::drawRows(int bottom, int width) {
    const ValueTable& table = connection_.engine().table();
    const qint64 nowUs = connection_.clock().nowUs();
    QVector<Cells> rows;
    for (int i = 0; i < table.size(); ++i) {
        rows += cellsOf(table, i, nowUs);
    }
    const TableLayout layout(rows, width);
    const int height = bottom - HEAD_LINES;
    first_ = firstVisible(selected_, first_, height);
    screen_->put(1, width, layout.title(), false);
    for (int row = 0; row < height && first_ + row < rows.size(); ++row) {
        const int point = first_ + row;
        const QString line = layout.line(rows.at(point), faultText(table.state(point), nowUs));
        screen_->put(HEAD_LINES + row, width, line, point == selected_);
    }
}

void LiveTable::drawStatistics(int bottom, int width) {
    const QStringList lines =
        statistics_.window(statisticsLines(connection_.engine().statistics(), connection_.clock().nowUs()),
                           bottom - TITLE_LINES, width);
    for (int row = 0; row < lines.size(); ++row) {
        screen_->put(row + TITLE_LINES, width, lines.at(row), false);
    }
}

}  // namespace dx7::cli
