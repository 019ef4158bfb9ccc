#include "host/cli/commands/check_file.h"

#include <cmath>

#include "host/cli/columns.h"
#include "host/cli/output.h"
#include "host/duration_text.h"
#include "host/error.h"
#include "host/poll/line_cost.h"
#include "host/poll/wire_access.h"

namespace dx7::cli {

namespace {

// A line of the file with its tags.
struct CheckedLine {
    LineSettings settings;
    QVector<Point> points;
    int tags = 0;
    /// Whether the settings are without a fault; costs are not known otherwise.
    bool isValid = true;
    std::vector<IntervalCost> costs;
    /// Of all its tags.
    IntervalCost cycle;
    std::vector<SharedRegister> shared;

    /// Of the intervals together; not known over TCP, nor without any.
    std::optional<double> share() const {
        std::optional<double> sum;
        for (const IntervalCost& cost : costs) {
            if (cost.share()) {
                sum = sum.value_or(0) + *cost.share();
            }
        }
        return sum;
    }
    bool keeps() const { return share().value_or(0) <= 1; }
};

QString quotedNames(const CheckedLine& line, const SharedRegister& shared) {
    QStringList names;
    for (const int point : shared.points) {
        names +=
            QStringLiteral("\"%1\" (%2)").arg(line.points.at(point).name, line.points.at(point).notation());
    }
    return names.join(QStringLiteral(", "));
}

// The event "cycle" of a line, or "cost" of those of its values that are polled together.
Json costJson(const char* event, const CheckedLine& line, const IntervalCost& cost,
              std::optional<double> share) {
    Json json = eventJson(event);
    json["line"] = utf8(lineName(line.settings));
    if (&cost != &line.cycle) {
        json["interval_ms"] =
            cost.intervalUs ? Json(static_cast<double>(*cost.intervalUs) / 1000) : Json(nullptr);
    }
    json["values"] = cost.points;
    json["items"] = cost.items;
    json["requests"] = cost.requests;
    json["line_ms"] = cost.lineUs ? Json(static_cast<double>(*cost.lineUs) / 1000) : Json(nullptr);
    json["share"] = share ? Json(*share) : Json(nullptr);
    return json;
}

Json sharedJson(const CheckedLine& line, const SharedRegister& shared) {
    std::vector<Json> names;
    for (const int point : shared.points) {
        names.emplace_back(utf8(line.points.at(point).name));
    }
    Json json = eventJson("shared");
    json["line"] = utf8(lineName(line.settings));
    json["station"] = shared.station;
    json["function"] = shared.function;
    json["register"] = shared.reg ? Json(utf8(registerText(*shared.reg))) : Json(nullptr);
    json["tags"] = Json(names);
    return json;
}

void printLineJson(const CheckedLine& line) {
    for (const IntervalCost& cost : line.costs) {
        print(costJson("cost", line, cost, cost.share()));
    }
    if (!line.costs.empty()) {
        print(costJson("cycle", line, line.cycle, line.share()));
    }
    for (const SharedRegister& shared : line.shared) {
        print(sharedJson(line, shared));
    }
}

QString shareText(std::optional<double> share) {
    return share ? QStringLiteral("%1 %").arg(100 * *share, 0, 'f', 1) : QStringLiteral("-");
}

QStringList tableRow(const CheckedLine& line, const QString& name, const IntervalCost& cost,
                     std::optional<double> share) {
    return {lineName(line.settings),
            name,
            QString::number(cost.points),
            QString::number(cost.items),
            QString::number(cost.requests),
            cost.lineUs ? msText(*cost.lineUs) : QStringLiteral("-"),
            shareText(share)};
}

void printTable(const std::vector<CheckedLine>& lines) {
    QVector<QStringList> rows{{QStringLiteral("LINE"), QStringLiteral("EVERY"), QStringLiteral("VALUES"),
                               QStringLiteral("ITEMS"), QStringLiteral("REQUESTS"), QStringLiteral("LINE ms"),
                               QStringLiteral("OF ITS TIME")}};
    for (const CheckedLine& line : lines) {
        for (const IntervalCost& cost : line.costs) {
            rows += tableRow(line, cost.intervalUs ? durationText(*cost.intervalUs) : QStringLiteral("turn"),
                             cost, cost.share());
        }
        if (line.costs.size() > 1) {
            rows += tableRow(line, QStringLiteral("all"), line.cycle, line.share());
        }
    }
    if (rows.size() > 1) {
        for (const QString& row : columnLines(rows, {2, 3, 4, 5, 6})) {
            print(row);
        }
    }
}

void printFindings(const CheckedLine& line) {
    for (const SharedRegister& shared : line.shared) {
        const QString place = shared.reg ? QStringLiteral("register %1").arg(registerText(*shared.reg))
                                         : QStringLiteral("function code %1").arg(shared.function);
        print(QStringLiteral("%1: the same %2 of station %3: %4")
                  .arg(lineName(line.settings), place)
                  .arg(shared.station)
                  .arg(quotedNames(line, shared)));
    }
    if (!line.keeps()) {
        print(
            QStringLiteral("%1: its intervals take %2 of its time and cannot be kept; make them %3 times as "
                           "long, or poll less")
                .arg(lineName(line.settings), shareText(line.share()))
                .arg(std::ceil(100 * *line.share()) / 100));
    }
}

// A port has one master.
void refuseSharedPort(const std::vector<CheckedLine>& lines, std::size_t last) {
    const LineSettings& settings = lines[last].settings;
    for (std::size_t i = 0; i < last && !settings.serialPort.isEmpty(); ++i) {
        if (lines[i].settings.serialPort == settings.serialPort) {
            throw UsageError(QStringLiteral("line \"%1\" has the serial port of line \"%2\": %3")
                                 .arg(settings.name, lines[i].settings.name, settings.serialPort));
        }
    }
}

// The lines with the tags that have no fault; what has one goes to `*faults`.
std::vector<CheckedLine> checkedLines(const Driver& loaded, const LineFile& file, const QString& lineAsked,
                                      QStringList* faults) {
    // -1 for all.
    const int only = lineAsked.isEmpty() ? -1 : file.lineNamed(lineAsked);
    std::vector<CheckedLine> lines(static_cast<std::size_t>(std::max(file.lines().size(), 1)));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        try {
            lines[i].settings = fileSettings(file, loaded.parameter(), static_cast<int>(i));
            refuseSharedPort(lines, i);
        } catch (const UsageError& error) {
            *faults += error.text();
            lines[i].isValid = false;
        }
    }
    for (const LineTag& tag : file.tags(loaded.notation, faults)) {
        lines[static_cast<std::size_t>(tag.line)].points += tag.points;
        ++lines[static_cast<std::size_t>(tag.line)].tags;
    }
    return only < 0 ? lines : std::vector<CheckedLine>{lines[static_cast<std::size_t>(only)]};
}

}  // namespace

int checkFile(const Driver& loaded, const CommonOptions& options) {
    QStringList faults;
    const LineFile file(text(options.filePath), &faults);
    std::vector<CheckedLine> lines = checkedLines(loaded, file, text(options.lineName), &faults);
    int tags = 0;
    int items = 0;
    bool kept = true;
    for (CheckedLine& line : lines) {
        tags += line.tags;
        for (const Point& point : line.points) {
            items += point.items();
        }
        warnOfItemsBeyond(line.points);
        if (line.isValid) {
            DriverSession session(loaded.library.functions(), propertyText(line.settings, 1));
            line.costs = intervalCosts(session, loaded.notation, line.points, line.settings);
            line.cycle = line.costs.size() == 1
                             ? line.costs.front()
                             : cycleCost(session, loaded.notation, line.points, line.settings);
            line.shared = sharedRegisters(session, line.points);
            kept = kept && line.keeps();
        }
    }
    for (const QString& fault : faults) {
        printError(fault);
    }
    if (options.json) {
        for (const CheckedLine& line : lines) {
            printLineJson(line);
        }
        Json summary = summaryJson("check");
        summary["lines"] = lines.size();
        summary["tags"] = tags;
        summary["items"] = items;
        summary["faults"] = faults.size();
        summary["kept"] = kept;
        print(summary);
    } else {
        printTable(lines);
        for (const CheckedLine& line : lines) {
            printFindings(line);
        }
        print(QStringLiteral("%1: %2, %3, %4%5")
                  .arg(file.paths().first(), counted(qint64(lines.size()), "line"), counted(tags, "tag"),
                       counted(items, "item"),
                       faults.isEmpty() ? QStringLiteral(", no fault")
                                        : QStringLiteral(", ") + counted(faults.size(), "fault")));
    }
    return !faults.isEmpty() ? EXIT_USAGE : kept ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace dx7::cli
