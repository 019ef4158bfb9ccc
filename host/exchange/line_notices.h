/// \file
/// What an engineer must be told of a line whose values are in doubt, said once each.
#ifndef DX7_HOST_LINE_NOTICES_H
#define DX7_HOST_LINE_NOTICES_H

#include <QSet>
#include <QStringList>

#include "host/exchange/exchange_note.h"
#include "host/line/line_settings.h"

namespace dx7 {

/// Turns what the exchange meets into sentences, each of them once. For one thread; nothing of it fails.
class LineNotices {
public:
    explicit LineNotices(const LineSettings& settings)
        : timeoutMs_(settings.timeoutMs), hasIds_(settings.carrier == Carrier::ModbusTcp) {}

    /// A sentence when the note is worth one that has not been said: "station 1 answers after 0.8 s; raise
    /// --timeout (500 ms)". Empty otherwise.
    QString take(const ExchangeNote& note);
    /// Takes a sentence over that was found elsewhere. False when it has been said.
    bool add(const QString& sentence) { return !say(sentence, sentence).isEmpty(); }
    /// All of them, in their order.
    const QStringList& said() const { return said_; }

private:
    QString say(const QString& key, const QString& sentence);

    int timeoutMs_;
    bool hasIds_;
    QSet<QString> keys_;
    QStringList said_;
};

}  // namespace dx7

#endif
