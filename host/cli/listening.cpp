#include "host/cli/listening.h"

#include <QStringList>
#include <algorithm>

#include "host/cli/output.h"
#include "host/cli/stop_signal.h"
#include "host/files/frame_text.h"

namespace dx7::cli {

namespace {

// So often a signal is looked for.
constexpr qint64 LONGEST_WAIT_US = 50000;
// Of what another master asks for so many are named.
constexpr int MOST_NAMED = 3;

// What frames of a kind say, each once.
QStringList saidBy(const QVector<HeardPiece>& pieces, HeardPiece::Kind kind) {
    QStringList said;
    for (const HeardPiece& piece : pieces) {
        if (piece.kind == kind) {
            said += describeFrame(RecordedFrame{0, kind == HeardPiece::Request, piece.bytes});
        }
    }
    said.removeDuplicates();
    return said;
}

}  // namespace

QVector<HeardPiece> listen(Line& line, Poller& poller, const LineSettings& settings, FrameTap* tap) {
    LineListener listener(settings, poller.nowUs());
    QByteArray bytes;
    line.expect(1);
    for (qint64 nowUs = poller.nowUs(); nowUs < listener.endUs() && !stopRequested();
         nowUs = poller.nowUs()) {
        poller.wait(std::min(listener.endUs(), nowUs + LONGEST_WAIT_US));
        bytes.resize(0);
        const bool open = line.receive(&bytes);
        if (!bytes.isEmpty()) {
            listener.received(bytes.constData(), bytes.size(), poller.nowUs());
        }
        if (!open) {
            break;
        }
    }
    const QVector<HeardPiece> pieces = listener.pieces();
    for (const HeardPiece& piece : pieces) {
        const qint64 agoUs = std::max<qint64>(poller.nowUs() - piece.endUs, 0);
        if (tap != nullptr && piece.kind == HeardPiece::Request) {
            tap->requestSent(piece.bytes, agoUs);
        } else if (tap != nullptr) {
            tap->frameReceived(piece.bytes, agoUs);
        }
    }
    return pieces;
}

QString heardText(const QVector<HeardPiece>& pieces) {
    const QStringList requests = saidBy(pieces, HeardPiece::Request);
    const QStringList said = requests.isEmpty() ? saidBy(pieces, HeardPiece::Reply) : requests;
    if (said.isEmpty()) {
        return QString();
    }
    const int left = said.size() - MOST_NAMED;
    return QStringLiteral("it %1 \"%2\"%3")
        .arg(QLatin1String(requests.isEmpty() ? "says" : "asks"),
             said.mid(0, MOST_NAMED).join(QStringLiteral("\", \"")),
             left > 0 ? QStringLiteral(" and %1 more").arg(left) : QString());
}

QString otherMasterText(const QVector<HeardPiece>& pieces) {
    const QString heard = heardText(pieces);
    if (heard.isEmpty()) {
        return QString();
    }
    const bool asks = std::any_of(pieces.begin(), pieces.end(),
                                  [](const HeardPiece& piece) { return piece.kind == HeardPiece::Request; });
    const QString what = asks ? QString() : QStringLiteral(", or the reply to an earlier program comes late");
    return QStringLiteral(
               "another master is on this line%1: %2; two masters disturb each other: end the other "
               "one, or send "
               "all the same with --anyway")
        .arg(what, heard);
}

QString strayText(const QVector<HeardPiece>& pieces) {
    int bytes = 0;
    for (const HeardPiece& piece : pieces) {
        bytes += piece.kind == HeardPiece::Stray ? piece.bytes.size() : 0;
    }
    return bytes == 0
               ? QString()
               : QStringLiteral(
                     "warning: %1 without a valid CRC came while nothing was asked: noise, or another master "
                     "with another baud rate or parity")
                     .arg(counted(bytes, "byte"));
}

}  // namespace dx7::cli
