/// \file
/// The live table of `dx7 monitor` on a terminal.
#ifndef DX7_CLI_LIVE_TABLE_H
#define DX7_CLI_LIVE_TABLE_H

#include <memory>

#include "host/cli/connection.h"
#include "host/cli/screen/scrolled_text.h"
#include "host/cli/screen/terminal_screen.h"
#include "host/cli/screen/typed_line.h"

namespace dx7::cli {

/// Takes the terminal over while it lives. Arrow keys select, `w` writes the selected value, `s` shows the
/// statistics, where arrow keys scroll, `q` quits. Keys are served between the turns of the line.
class LiveTable {
public:
    /// The table; null, with the reason in `why`, on a terminal that cannot show it.
    static std::unique_ptr<LiveTable> open(Connection& connection, QString* why);
    ~LiveTable();

    /// Ends the writes that have not ended, and says of each what is known of it. The connection is not
    /// stepped after that.
    QStringList takeUnfinished();

    /// Serves keys and draws anew when that is due.
    void serve();
    bool quit() const { return quit_; }

private:
    Q_DISABLE_COPY(LiveTable)
    LiveTable(Connection& connection, std::unique_ptr<TerminalScreen> screen);
    void handleKey(int key);
    void handleTyping(int key);
    void handleCommand(int key);
    void beginWrite();
    bool refuseWithoutLine();
    void sendWrite();
    void writeEnded(const QString& name, const QString& value, const Transaction& transaction);
    void draw();
    // Down to the line `bottom`, which is not theirs.
    void drawRows(int bottom, int width);
    void drawStatistics(int bottom, int width);
    QString selectedCause() const;
    QStringList statusLines(int width) const;

    std::unique_ptr<TerminalScreen> screen_;
    Connection& connection_;
    int selected_ = 0;
    int first_ = 0;
    bool quit_ = false;
    /// The table ends: writes that end now are unfinished.
    bool ending_ = false;
    bool showStatistics_ = false;
    bool typing_ = false;
    TypedLine typed_;
    /// Until the next key, or until the line is lost or back.
    QString message_;
    /// Of the connection's notices.
    int noticesRead_ = 0;
    bool lineOpen_ = true;
    int pendingWrites_ = 0;
    QStringList unfinished_;
    ScrolledText statistics_;
    qint64 drawnUs_ = 0;
    bool drawNow_ = true;
};

}  // namespace dx7::cli

#endif
