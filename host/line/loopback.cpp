#include "host/line/loopback.h"

#include <algorithm>

namespace dx7 {

namespace {

// More than an adapter's latency timer and its packets.
constexpr qint64 PATIENCE_US = 500000;
constexpr qint64 LOOPBACK_LOOK_US = 50000;
constexpr int PIECE_BYTES = 64;
constexpr int ALTERNATING_BYTES = 64;
constexpr char ALTERNATING[] = {'\x55', '\x2A'};

// One test on its line.
class Loopback {
public:
    Loopback(Line& line, Poller& poller, const LineSettings& settings, const std::function<bool()>& stopped)
        : line_(line), poller_(poller), settings_(settings), stopped_(stopped) {}

    LoopbackResult run() {
        const QByteArray pattern = loopbackPattern(settings_);
        line_.expect(1);
        const qint64 beginUs = poller_.nowUs();
        if (comesBack(pattern.left(1))) {
            result_.roundTripUs = poller_.nowUs() - beginUs;
        }
        for (int start = 1; start < pattern.size() && result_.good(); start += PIECE_BYTES) {
            comesBack(pattern.mid(start, PIECE_BYTES));
        }
        return result_;
    }

private:
    bool comesBack(const QByteArray& piece) {
        const int begin = result_.sent;
        result_.lost = !line_.send(piece);
        result_.sent += piece.size();
        const qint64 endUs = poller_.nowUs() + lineTimeUs(settings_, piece.size()) + PATIENCE_US;
        while (goesOn() && poller_.nowUs() < endUs) {
            poller_.wait(std::min(endUs, poller_.nowUs() + LOOPBACK_LOOK_US));
            result_.lost = !line_.flush(poller_.nowUs()) || !take(piece, begin);
            result_.stopped = stopped_();
        }
        return result_.good();
    }
    bool goesOn() const {
        return !result_.lost && !result_.stopped && !result_.difference && result_.received < result_.sent;
    }
    bool take(const QByteArray& piece, int begin) {
        QByteArray bytes;
        const bool open = line_.receive(&bytes);
        for (const char came : bytes) {
            const int index = result_.received - begin;
            const char sent = index < piece.size() ? piece.at(index) : '\0';
            if (!result_.difference && index < piece.size() && came != sent) {
                result_.difference = LoopbackResult::Difference{result_.received, static_cast<quint8>(sent),
                                                                static_cast<quint8>(came)};
            }
            ++result_.received;
        }
        return open;
    }

    Line& line_;
    Poller& poller_;
    const LineSettings& settings_;
    const std::function<bool()>& stopped_;
    LoopbackResult result_;
};

}  // namespace

QByteArray loopbackPattern(const LineSettings& settings) {
    const int values = 1 << settings.dataBits;
    QByteArray pattern(1, ALTERNATING[0]);
    for (int value = 0; value < values; ++value) {
        pattern += static_cast<char>(value);
    }
    for (int i = 0; i < ALTERNATING_BYTES; ++i) {
        pattern += ALTERNATING[i % 2];
    }
    return pattern;
}

LoopbackResult testLoopback(Line& line, Poller& poller, const LineSettings& settings,
                            const std::function<bool()>& stopped) {
    return Loopback(line, poller, settings, stopped).run();
}

}  // namespace dx7
