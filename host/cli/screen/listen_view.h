/// \file
/// The live view of `dx7 listen` on a terminal.
#ifndef DX7_CLI_LISTEN_VIEW_H
#define DX7_CLI_LISTEN_VIEW_H

#include "host/cli/listen_output.h"
#include "host/cli/screen/terminal_screen.h"

namespace dx7::cli {

/// Shows requests, stations and signs while it lives. Arrow keys scroll, `q` quits.
class ListenView {
public:
    /// `watch` and `index` outlive it.
    ListenView(std::unique_ptr<TerminalScreen> screen, const BusWatch& watch, const RegisterIndex& index,
               const QString& line);

    /// Serves keys, and draws anew when that is due. Times in microseconds on the caller's clock, from the
    /// beginning of the listening on.
    void serve(qint64 us);
    bool quit() const { return quit_; }

private:
    void handleKey(int key);
    void draw(qint64 us);

    std::unique_ptr<TerminalScreen> screen_;
    const BusWatch& watch_;
    const RegisterIndex& index_;
    QString line_;
    int first_ = 0;
    bool quit_ = false;
    bool drawNow_ = true;
    qint64 drawnUs_ = 0;
};

}  // namespace dx7::cli

#endif
