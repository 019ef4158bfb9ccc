#include "host/cli/screen/statistics_output.h"

#include <functional>

#include "host/cli/screen/scrolled_text.h"
#include "host/exchange/rtu_frame.h"

namespace dx7::cli {

namespace {

constexpr int LABEL_WIDTH = ScrolledText::LABEL_WIDTH;
constexpr int COLUMN_WIDTH = ScrolledText::COLUMN_WIDTH - 1;

// A duration in ms out of a histogram; where nothing was measured there is none.
QString durationText(const LatencyHistogram& histogram, qint64 us) {
    return histogram.count() > 0 ? msText(us) : QStringLiteral("-");
}

Json durationJson(const LatencyHistogram& histogram, qint64 us) {
    return histogram.count() > 0 ? Json(static_cast<double>(us) / 1000) : Json(nullptr);
}

// One row: the label and a cell per column.
class Table {
public:
    explicit Table(const Statistics& statistics) {
        for (auto it = statistics.stations().begin(); it != statistics.stations().end(); ++it) {
            titles_ += QStringLiteral("station %1").arg(it.key());
            columns_ += &it.value();
        }
        titles_ += QStringLiteral("all");
        columns_ += &statistics.all();
        addRow(QString(), titles_);
    }

    void add(const QString& label, const std::function<QString(const Counters&)>& cell) {
        QStringList cells;
        for (const Counters* column : columns_) {
            cells += cell(*column);
        }
        addRow(label, cells);
    }
    void add(const char* label, qint64 Counters::*counter) {
        add(QLatin1String(label), [counter](const Counters& c) { return QString::number(c.*counter); });
    }
    const QStringList& lines() const { return lines_; }

private:
    void addRow(const QString& label, const QStringList& cells) {
        QString line = label.leftJustified(LABEL_WIDTH);
        for (const QString& cell : cells) {
            line += QLatin1Char(' ') + cell.rightJustified(COLUMN_WIDTH);
        }
        lines_ += line;
    }

    QStringList titles_;
    QVector<const Counters*> columns_;
    QStringList lines_;
};

Json countersJson(const Counters& c) {
    Json exceptions = Json::object();
    for (auto it = c.exceptions.begin(); it != c.exceptions.end(); ++it) {
        exceptions[std::to_string(it.key())] = it.value();
    }
    return Json{{"requests", c.requests},
                {"good", c.good},
                {"timeouts", c.timeouts},
                {"wrong_crc", c.wrongCrc},
                {"wrong_length", c.wrongLength},
                {"noise", c.noise},
                {"foreign", c.foreign},
                {"surplus", c.surplus},
                {"copies", c.copies},
                {"late", c.late},
                {"echoes", c.echoes},
                {"status_queries", c.queries},
                {"damaged_answers", c.damagedAnswers},
                {"exceptions", exceptions},
                {"retries", c.retries},
                {"failed_operations", c.failed},
                {"response_ms", durationsJson(c.response)}};
}

Json statisticsJson(const Statistics& statistics, qint64 nowUs) {
    Json stations = Json::object();
    for (auto it = statistics.stations().begin(); it != statistics.stations().end(); ++it) {
        stations[std::to_string(it.key())] = countersJson(it.value());
    }
    const LatencyHistogram& cycles = statistics.cycles();
    return Json{{"event", "statistics"},
                {"all", countersJson(statistics.all())},
                {"stations", stations},
                {"cycles",
                 {{"count", cycles.count()},
                  {"median_ms", durationJson(cycles, cycles.percentileUs(50))},
                  {"max_ms", durationJson(cycles, cycles.maxUs())}}},
                {"line_busy", statistics.busyShare(nowUs)}};
}

}  // namespace

QStringList statisticsLines(const Statistics& statistics, qint64 nowUs) {
    Table table(statistics);
    table.add("requests", &Counters::requests);
    table.add("good", &Counters::good);
    table.add("timeouts", &Counters::timeouts);
    table.add("wrong CRC", &Counters::wrongCrc);
    table.add("wrong length", &Counters::wrongLength);
    table.add("noise", &Counters::noise);
    table.add("foreign frames", &Counters::foreign);
    table.add("surplus frames", &Counters::surplus);
    table.add("doubled frames", &Counters::copies);
    table.add("late replies", &Counters::late);
    table.add("echoed requests", &Counters::echoes);
    table.add("status queries", &Counters::queries);
    table.add("damaged answers", &Counters::damagedAnswers);
    const QMap<int, qint64>& codes = statistics.all().exceptions;
    for (auto it = codes.begin(); it != codes.end(); ++it) {
        const int code = it.key();
        table.add(QStringLiteral("exception %1").arg(code),
                  [code](const Counters& c) { return QString::number(c.exceptions.value(code)); });
    }
    table.add("retries", &Counters::retries);
    table.add("failed operations", &Counters::failed);
    table.add(QStringLiteral("response min ms"),
              [](const Counters& c) { return durationText(c.response, c.response.minUs()); });
    for (const double percent : {50.0, 99.0}) {
        const QString label =
            percent > 50 ? QStringLiteral("response 99 % ms") : QStringLiteral("response median ms");
        table.add(label, [percent](const Counters& c) {
            return durationText(c.response, c.response.percentileUs(percent));
        });
    }
    table.add(QStringLiteral("response max ms"),
              [](const Counters& c) { return durationText(c.response, c.response.maxUs()); });
    QStringList lines = table.lines();
    for (auto it = codes.begin(); it != codes.end(); ++it) {
        lines += QStringLiteral("exception %1 is \"%2\"").arg(it.key()).arg(exceptionName(it.key()));
    }
    const LatencyHistogram& cycles = statistics.cycles();
    lines += QStringLiteral("cycle: %1 finished, median %2 ms, max %3 ms")
                 .arg(cycles.count())
                 .arg(durationText(cycles, cycles.percentileUs(50)), durationText(cycles, cycles.maxUs()));
    lines += QStringLiteral("line busy: %1 % of the time").arg(statistics.busyShare(nowUs) * 100, 0, 'f', 1);
    return lines;
}

void printStatistics(const Statistics& statistics, qint64 nowUs, bool json) {
    if (json) {
        print(statisticsJson(statistics, nowUs));
        return;
    }
    for (const QString& line : statisticsLines(statistics, nowUs)) {
        print(line);
    }
}

}  // namespace dx7::cli
