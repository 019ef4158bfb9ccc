/// \file
/// Whether the adapter sends back what is sent.
#ifndef DX7_HOST_ECHO_WATCH_H
#define DX7_HOST_ECHO_WATCH_H

#include <QtGlobal>

#include "host/exchange/frame_stream.h"
#include "host/line/line_settings.h"

namespace dx7 {

/// Learns from what comes after each frame, unless it was told. No byte where one had to come first is no
/// echo, and neither are a few bytes before each of ten answers: an adapter that echoes shows a whole echo
/// among them, and a part of one cannot pass for a reply. Where thirty echoes in a row are missing, the
/// adapter has been told not to echo any more.
///
/// Its LineTraffic owns it. Pure, for one thread; nothing of it fails.
class EchoWatch {
public:
    explicit EchoWatch(EchoMode mode);

    bool known() const { return echo_ != Echo::Unknown; }
    bool echoes() const { return echo_ == Echo::Yes; }
    /// How the echo of a frame with this function code is to be looked for. `alike`: its reply may equal it.
    FrameStream::EchoLook look(int function, bool alike) const;

    /// Frame number `sequence` was sent.
    void sent(quint64 sequence);
    /// Its echo came.
    void echoed();
    /// So did bytes that may be what is left of one.
    void strayed() { strayed_ = true; }
    /// Frame number `sequence` was answered. `alike`: what came could be the echo itself.
    void answered(quint64 sequence, bool alike);
    /// Nothing has come within the time-out of the last frame but what was told of.
    void silent();

private:
    enum class Echo { Unknown, No, Yes };

    EchoMode mode_;
    Echo echo_;
    /// Of the last frame.
    quint64 sequence_ = 0;
    /// Since it was sent.
    bool echoed_ = false;
    /// Bytes that may be what is left of an echo came since then.
    bool strayed_ = false;
    /// Echoes, in a row.
    int missed_ = 0;
    /// Answers in a row before which something strayed, and no echo came.
    int strayedAnswers_ = 0;
};

}  // namespace dx7

#endif
