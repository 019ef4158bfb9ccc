#include "host/cli/commands/load_run.h"

#include "host/cli/output.h"
#include "host/cli/screen/progress.h"

namespace dx7::cli {

namespace {

constexpr int MOST_NAMES = 10;

}  // namespace

void LoadRun::writeDifferences() {
    Progress progress(compared_.differences.size(), connection_.clock());
    while (tried_ < compared_.differences.size() && broken_.isEmpty()) {
        const Difference& difference = compared_.differences.at(tried_);
        progress.show(tried_, QStringLiteral("writing ") + difference.point.name);
        const WriteEnd end = writeAndVerify(connection_, difference);
        ++tried_;
        if (end.state != Written::Verified) {
            progress.clear();
        }
        take(difference, end);
        watch_.take(end);
        broken_ = connection_.breakReason();
        // With the last one verified there is nothing left to end.
        if (broken_.isEmpty() && (tried_ < compared_.differences.size() || end.state != Written::Verified)) {
            broken_ = watch_.failure(connection_, difference.point.station);
        }
    }
}

void LoadRun::take(const Difference& difference, const WriteEnd& end) {
    written_ += end.state == Written::Verified ? 1 : 0;
    if (end.state == Written::Unknown) {
        unknown_ += difference.point.name;
    }
    if (end.state != Written::Verified) {
        tellItem(difference, end.state, end.fault);
        printError(QStringLiteral("%1 = %2: %3")
                       .arg(labelledName(difference.point),
                            labelledValue(difference.point, difference.inFile), end.fault));
    }
}

void LoadRun::tellItem(const Difference& difference, Written state, const QString& fault) {
    if (json_) {
        Json json = eventJson("parameter");
        json["item"] = utf8(difference.point.notation());
        json["file"] = difference.inFile;
        json["written"] = state == Written::Unknown ? Json(nullptr) : Json(false);
        json["fault"] = utf8(fault);
        told_ = tell(json) && told_;
    }
}

void LoadRun::tellRest() {
    for (const Difference& difference : compared_.differences.mid(tried_)) {
        tellItem(difference, Written::Not, QStringLiteral("not sent: ") + broken_);
    }
    for (const Difference& difference : compared_.unread) {
        tellItem(difference, Written::Not, QStringLiteral("not compared: ") + broken_);
    }
}

QString LoadRun::summaryText(int parameters) const {
    const int left = parameters - compared_.right - written_;
    QString text = named_ ? QStringLiteral("station %1: ").arg(station_) : QString();
    text += QStringLiteral("%1: %2 were right already, %3 written and verified, ")
                .arg(counted(parameters, "parameter"))
                .arg(compared_.right)
                .arg(written_);
    if (!unknown_.isEmpty()) {
        const int more = unknown_.size() - MOST_NAMES;
        text += QStringLiteral("%1 unknown (%2%3), ")
                    .arg(unknown_.size())
                    .arg(QStringList(unknown_.mid(0, MOST_NAMES)).join(QStringLiteral(", ")),
                         more > 0 ? QStringLiteral(" and %1 more").arg(more) : QString());
    }
    const bool plain = unknown_.isEmpty() && broken_.isEmpty();
    return text + QStringLiteral("%1 %2")
                      .arg(left - unknown_.size())
                      .arg(QLatin1String(plain ? "not" : "not written"));
}

// Of a run that was broken off before its first write.
QString LoadRun::comparedText(int parameters) const {
    return QStringLiteral("; %1 of %2 were compared, nothing was written")
        .arg(parameters - compared_.unread.size())
        .arg(counted(parameters, "parameter"));
}

bool LoadRun::tellSummary(int parameters) {
    const int left = parameters - compared_.right - written_;
    if (json_) {
        Json json = summaryJson("params load");
        json["station"] = station_;
        json["parameters"] = parameters;
        json["right"] = compared_.right;
        json["written"] = written_;
        json["not_written"] = left - unknown_.size();
        json["unknown"] = unknown_.size();
        if (!broken_.isEmpty()) {
            json["fault"] = utf8(broken_);
        }
        told_ = tell(json) && told_;
    } else if (compared_.broken.isEmpty()) {
        told_ = tell(summaryText(parameters)) && told_;
    }
    if (!broken_.isEmpty()) {
        printError(
            QStringLiteral("%1%2; run it again to go on: it compares first and writes only what differs")
                .arg(broken_, compared_.broken.isEmpty() ? QString() : comparedText(parameters)));
    }
    return left == 0 && told_;
}

}  // namespace dx7::cli
