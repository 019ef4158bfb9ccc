#include "host/cli/polled_file.h"

#include <QSet>

#include "host/cli/listen_output.h"
#include "host/cli/output.h"
#include "host/exchange/rtu_frame.h"
#include "host/files/line_file.h"
#include "host/poll/wire_access.h"

namespace dx7::cli {

namespace {

// "station 1 FC 4 1200-1203, 240 times, every 250.10 ms (median)".
QString pollText(const HeardRequest& request) {
    QString text =
        QStringLiteral("station %1 %2").arg(byteAt(request.frame, 0)).arg(requestName(request.frame));
    text += request.counts.requests == 1 ? QStringLiteral(", once")
                                         : QStringLiteral(", %1 times, every %2 ms (median)")
                                               .arg(request.counts.requests)
                                               .arg(msText(request.intervals.percentileUs(50)));
    return text;
}

QString registersText(const QPair<int, int>& run) {
    return run.second == 1 ? QStringLiteral("register %1").arg(registerText(run.first))
                           : QStringLiteral("registers %1-%2")
                                 .arg(registerText(run.first), registerText(run.first + run.second - 1));
}

class Writer {
public:
    explicit Writer(const RegisterIndex& index) : index_(index) {}

    void add(const HeardRequest& request);
    const QString& text() const { return text_; }
    int items() const { return items_; }

private:
    void comment(const QString& line) { text_ += QStringLiteral("# ") + line + QLatin1Char('\n'); }
    void addTag(int station, const ItemRun& run);
    QVector<ItemRun> fresh(int station, const ItemRun& run);

    const RegisterIndex& index_;
    QString text_;
    int items_ = 0;
    /// Station and text of each item that has a tag.
    QSet<QPair<int, QString>> named_;
};

// Those of the run that have no tag yet.
QVector<ItemRun> Writer::fresh(int station, const ItemRun& run) {
    QVector<ItemRun> runs;
    for (int i = 0; i < run.count; ++i) {
        const ItemRun item{run.type, run.address + i, 1, run.reg + i};
        const QPair<int, QString> key(station, item.text());
        if (named_.contains(key)) {
            continue;
        }
        named_ += key;
        if (!runs.isEmpty() && runs.last().address + runs.last().count == item.address) {
            ++runs.last().count;
        } else {
            runs += item;
        }
    }
    return runs;
}

void Writer::addTag(int station, const ItemRun& run) {
    text_ +=
        QStringLiteral("[[tag]]\nname = \"station %1 %2\"\ntype = \"%3\"\naddress = \"%4\"\nstation = %1\n")
            .arg(station)
            .arg(run.text(), run.type.name, run.type.addressText(run.address));
    if (run.count > 1) {
        text_ += QStringLiteral("count = %1\n").arg(run.count);
    }
    items_ += run.count;
}

void Writer::add(const HeardRequest& request) {
    const int station = byteAt(request.frame, 0);
    const int function = byteAt(request.frame, 1);
    const PolledItems found = index_.items(request.frame);
    text_ += QLatin1Char('\n');
    comment(pollText(request));
    const bool none = found.items.isEmpty() && found.foreign.isEmpty();
    if (isWriteFunction(function)) {
        comment(found.items.isEmpty() ? QStringLiteral("written; no item of the driver's")
                                      : QStringLiteral("written: %1").arg(itemsText(found.items)));
        return;
    }
    if (none) {
        comment(QStringLiteral("no item of the driver's"));
    }
    for (const QPair<int, int>& run : found.foreign) {
        comment(registersText(run) + QStringLiteral(": no item of the driver's"));
    }
    for (const ItemRun& run : found.others) {
        comment(QStringLiteral("%1 is in the same %2").arg(run.text(), registersText({run.reg, run.count})));
    }
    if (function == READ_EXCEPTION_STATUS) {
        comment(QStringLiteral("a master may ask for it only to learn whose a reply is"));
    }
    for (const ItemRun& run : found.items) {
        const QVector<ItemRun> runs = fresh(station, run);
        for (const ItemRun& each : runs) {
            addTag(station, each);
        }
        if (runs.isEmpty()) {
            comment(QStringLiteral("%1 is named above").arg(run.text()));
        }
    }
}

}  // namespace

PolledFile polledFile(const BusWatch& watch, const RegisterIndex& index, const LineSettings& settings,
                      const QString& comment) {
    Writer writer(index);
    for (const auto& entry : watch.requests()) {
        writer.add(entry.second);
    }
    return {lineFileText(settings, comment) + writer.text().toUtf8(), writer.items()};
}

}  // namespace dx7::cli
