#include "host/cli/commands/write_preview.h"

#include "host/cli/commands/write_report.h"
#include "host/cli/output.h"
#include "host/exchange/rtu_frame.h"
#include "host/poll/plan_report.h"

namespace dx7::cli {

namespace {

void printFrame(const WriteJob& job, const PlannedBlock& block, bool json) {
    const RegisterType& type = job.request.first.type;
    if (json) {
        Json object = eventJson("request");
        object["name"] = utf8(job.request.name);
        object["station"] = block.range.station;
        object["type"] = utf8(type.name);
        object["address"] = utf8(type.addressText(block.range.address));
        object["count"] = block.range.count;
        object["request"] = utf8(hexText(block.request));
        print(object);
        return;
    }
    print(QStringLiteral("%1  %2").arg(assignmentText(job), hexText(block.request)));
}

}  // namespace

void previewWrites(const Driver& loaded, const LineSettings& settings, const QVector<WriteJob>& jobs,
                   bool json) {
    DriverSession session(loaded.library.functions(), propertyText(settings, 1));
    int frames = 0;
    for (const WriteJob& job : jobs) {
        for (const PlannedBlock& block : explainWrite(session, job.request, settings)) {
            printFrame(job, block, json);
            ++frames;
        }
    }
    if (!json) {
        print(QStringLiteral("dry run: %1, nothing was sent").arg(counted(frames, "request")));
    }
}

}  // namespace dx7::cli
