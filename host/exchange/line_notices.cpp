#include "host/exchange/line_notices.h"

namespace dx7 {

QString LineNotices::take(const ExchangeNote& note) {
    switch (note.kind) {
        case ExchangeNote::Late:
            return say(QStringLiteral("late %1").arg(*note.station),
                       QStringLiteral("station %1 answers after %2 s; raise --timeout (it is %3 ms)")
                           .arg(*note.station)
                           .arg(static_cast<double>(note.afterUs) / 1e6, 0, 'f', 1)
                           .arg(timeoutMs_));
        case ExchangeNote::Copy:
            return say(QStringLiteral("copy"), QStringLiteral("replies arrive twice on this line"));
        case ExchangeNote::Foreign:
            return say(QStringLiteral("foreign"),
                       QStringLiteral("another master is on this line: a frame of station %1 came that was "
                                      "not asked for")
                           .arg(*note.station));
        case ExchangeNote::Surplus:
            if (hasIds_) {
                return say(
                    QStringLiteral("surplus"),
                    QStringLiteral("station %1 sends replies that answer nothing it was asked; they are "
                                   "dropped")
                        .arg(*note.station));
            }
            return say(QStringLiteral("surplus"),
                       QStringLiteral("more replies of station %1 come than it was asked for: another master "
                                      "is on this line, or the station answers the request before")
                           .arg(*note.station));
        case ExchangeNote::Echo:
            return say(QStringLiteral("echo"),
                       QStringLiteral("the adapter sends back what is sent; its echo is taken out"));
        default:
            return QString();
    }
}

QString LineNotices::say(const QString& key, const QString& sentence) {
    if (keys_.contains(key)) {
        return QString();
    }
    keys_.insert(key);
    said_ += sentence;
    return sentence;
}

}  // namespace dx7
