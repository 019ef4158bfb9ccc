#include "host/cli/commands/write_report.h"

#include <algorithm>

#include "host/cli/output.h"

namespace dx7::cli {

namespace {

// Of the values that read otherwise so many are named.
constexpr int MOST_DIFFERENCES = 3;

const char BROADCAST[] = "sent to all stations, not confirmed";

QString shown(const WriteJob& job, int index, quint32 raw) {
    return valueWithUnit(job.points.at(index).format, job.points.at(index).type, raw);
}

QString valuesText(const WriteJob& job) {
    QStringList values;
    for (int i = 0; i < job.points.size(); ++i) {
        values += shown(job, i, job.raw(i));
    }
    return values.join(QLatin1Char(','));
}

// Values in a row that share what has become of them.
struct Part {
    int first = 0;
    int count = 0;
};

bool endedAlike(const ValueFate& a, const ValueFate& b) {
    const bool readAlike =
        a.fate != Fate::Acknowledged || (a.readsBack == b.readsBack && a.unread == b.unread);
    return a.fate == b.fate && a.fault == b.fault && readAlike;
}

QVector<Part> partsOf(const WriteJob& job) {
    QVector<Part> parts;
    for (int i = 0; i < job.values.size(); ++i) {
        const ValueFate& known = job.values.at(i);
        if (!parts.isEmpty() && endedAlike(job.values.at(i - 1), known)) {
            ++parts.last().count;
        } else {
            parts += Part{i, 1};
        }
    }
    return parts;
}

// Of an acknowledgement: what reading back showed, or why it showed nothing.
QString readBackText(const WriteJob& job, int index) {
    const ValueFate& known = job.values.at(index);
    if (!known.unread.isEmpty()) {
        return unreadText(known.unread);
    }
    return known.readsBack ? QStringLiteral("acknowledged, reads back ") + shown(job, index, *known.readsBack)
                           : QStringLiteral("acknowledged");
}

QString fateText(const WriteJob& job, int index) {
    const ValueFate& known = job.values.at(index);
    if (!known.fault.isEmpty()) {
        return known.fault;
    }
    if (job.broadcast()) {
        return QLatin1String(BROADCAST);
    }
    return known.fate == Fate::Written ? QStringLiteral("written and verified") : readBackText(job, index);
}

// "F:3.0.20@1 written and verified; F:3.0.21@1 to F:3.0.24@1 not sent: ...".
QString partsText(const WriteJob& job, const QVector<Part>& parts) {
    QStringList texts;
    for (const Part& part : parts) {
        const QString first = job.points.at(part.first).name;
        const QString last = job.points.at(part.first + part.count - 1).name;
        const QString items = part.count == 1 ? first : QStringLiteral("%1 to %2").arg(first, last);
        texts += items + QLatin1Char(' ') + fateText(job, part.first);
    }
    return texts.join(QStringLiteral("; "));
}

// Of a job that is done.
QString successText(const WriteJob& job) {
    const bool acknowledged = std::all_of(job.values.begin(), job.values.end(),
                                          [](const ValueFate& known) { return known.acknowledged; });
    const bool read = std::all_of(job.values.begin(), job.values.end(),
                                  [](const ValueFate& known) { return known.readsBack.has_value(); });
    if (job.rule == ReadBackRule::Show && acknowledged && read) {
        QStringList values;
        for (int i = 0; i < job.values.size(); ++i) {
            values += shown(job, i, *job.values.at(i).readsBack);
        }
        return QStringLiteral("acknowledged, reads back ") + values.join(QLatin1Char(','));
    }
    const QVector<Part> parts = partsOf(job);
    return parts.size() == 1 ? fateText(job, 0) : QStringLiteral("done: ") + partsText(job, parts);
}

// Of a run that was acknowledged and reads otherwise, or could not be read back.
QString backFaultText(const WriteJob& job) {
    QStringList faults;
    for (const ValueFate& known : job.values) {
        if (known.backFault) {
            faults += known.fault;
        }
    }
    const int left = faults.size() - MOST_DIFFERENCES;
    const QString text = faults.mid(0, MOST_DIFFERENCES).join(QStringLiteral("; "));
    return left > 0 ? text + QStringLiteral("; and so for %1 more").arg(counted(left, "value")) : text;
}

QString faultText(const WriteJob& job, const QVector<Part>& parts) {
    if (parts.size() == 1) {
        return job.values.first().fault;
    }
    const bool readBack = std::all_of(job.values.begin(), job.values.end(), [](const ValueFate& known) {
        return known.backFault || known.fault.isEmpty();
    });
    return readBack ? backFaultText(job) : QStringLiteral("done in part: ") + partsText(job, parts);
}

// Why it is not known that the device has a value whose write has not failed; empty where that is known.
QString openQuestion(const WriteJob& job, int index) {
    const ValueFate& known = job.values.at(index);
    if (known.fate != Fate::Acknowledged) {
        return QString();
    }
    if (job.broadcast()) {
        return QLatin1String(BROADCAST);
    }
    if (known.readsBack) {
        return readBackText(job, index) + QStringLiteral(": the device may have cleared it by itself");
    }
    return known.unread.isEmpty() ? QStringLiteral("acknowledged, not read back") : unreadText(known.unread);
}

Quality qualityOf(Fate fate) {
    return fate == Fate::Written      ? Quality::Good
           : fate == Fate::NotWritten ? Quality::Bad
                                      : Quality::Doubtful;
}

// The job's point number `index`, with the keys of a value that was read and what has become of it.
Json writtenJson(const QString& line, const WriteJob& job, int index) {
    const ValueFate& known = job.values.at(index);
    const Point& point = job.points.at(index);
    Json json = itemJson("written", isoTime(known.endUs), line, point, job.raw(index));
    const bool unknown = known.fate == Fate::Acknowledged || known.fate == Fate::Unknown;
    json["written"] = unknown ? Json(nullptr) : Json(known.fate == Fate::Written);
    json["verified"] = known.fate == Fate::Written;
    json["acknowledged"] = known.acknowledged;
    json["reads_back"] = known.readsBack ? numberJson(point.format, *known.readsBack) : Json(nullptr);
    addQuality(qualityOf(known.fate), known.fault.isEmpty() ? openQuestion(job, index) : known.fault, &json);
    return json;
}

// False when one of them could not be said on standard output.
bool tellJson(const QString& line, const WriteJob& job) {
    bool told = true;
    for (int i = 0; i < job.points.size(); ++i) {
        told = tell(writtenJson(line, job, i)) && told;
    }
    return told;
}

// Empty when all was written, or nothing is to be added to what was said of a single write.
QString breakText(const Connection& connection, const QVector<WriteJob>& jobs) {
    if (!connection.breakReason().isEmpty() || connection.silentStations().isEmpty() || jobs.size() < 2) {
        return connection.breakReason();
    }
    QList<int> stations = connection.silentStations().values();
    std::sort(stations.begin(), stations.end());
    QStringList phrases;
    for (const int station : stations) {
        phrases += silencePhrase(station);
    }
    return phrases.join(QStringLiteral(", "));
}

bool anyValue(const QVector<WriteJob>& jobs, bool (*is)(const ValueFate& known)) {
    return std::any_of(jobs.begin(), jobs.end(), [is](const WriteJob& job) {
        return std::any_of(job.values.begin(), job.values.end(), is);
    });
}

}  // namespace

QString assignmentText(const WriteJob& job) {
    return QStringLiteral("%1 = %2").arg(job.request.name, valuesText(job));
}

bool report(const Connection& connection, const WriteJob& job, bool json) {
    bool told = true;
    if (json) {
        told = tellJson(lineName(connection.settings()), job);
    } else if (job.done()) {
        told = tell(assignmentText(job) + QLatin1Char(' ') + successText(job));
    }
    if (!job.done()) {
        const QVector<Part> parts = partsOf(job);
        const bool open = parts.size() == 1 && job.values.first().open;
        printError(assignmentText(job) + QLatin1String(open ? ": " : " failed: ") + faultText(job, parts));
    }
    return told && job.done();
}

void reportBreak(const Connection& connection, const QVector<WriteJob>& jobs) {
    const QString reason = breakText(connection, jobs);
    if (reason.isEmpty()) {
        return;
    }
    const auto done = std::count_if(jobs.begin(), jobs.end(), [](const WriteJob& job) { return job.done(); });
    const bool unknown = anyValue(jobs, [](const ValueFate& known) { return known.fate == Fate::Unknown; });
    const bool unverified = anyValue(
        jobs, [](const ValueFate& known) { return known.fate == Fate::Acknowledged && known.backFault; });
    const char* const readBack = unverified ? "read back what is unknown or was not verified, then "
                                 : unknown  ? "read back what is unknown, then "
                                            : "";
    printError(QStringLiteral("%1; %2 of %3 done; %4write what is missing")
                   .arg(reason)
                   .arg(done)
                   .arg(counted(jobs.size(), "write"), QLatin1String(readBack)));
}

}  // namespace dx7::cli
