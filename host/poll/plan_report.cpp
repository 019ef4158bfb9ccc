#include "host/poll/plan_report.h"

namespace dx7 {

namespace {

// Why the driver keeps two blocks that follow each other apart.
QString apartReason(const ItemRange& before, const ItemRange& after, const RegisterType& type,
                    int blockLimit) {
    if (before.station != after.station) {
        return QStringLiteral("other station");
    }
    if (before.regType != after.regType) {
        return QStringLiteral("other type");
    }
    const int gap = after.address - (before.address + before.count);
    if (gap > 0) {
        return QStringLiteral("gap of %1").arg(gap);
    }
    if (type.packedDecimal() && before.address / GROUP_ITEMS != after.address / GROUP_ITEMS) {
        return QStringLiteral("group of %1").arg(GROUP_ITEMS);
    }
    const auto subGroup = [](const ItemRange& range) { return range.address % GROUP_ITEMS / SUBGROUP_ITEMS; };
    if (type.packedDecimal() && subGroup(before) != subGroup(after)) {
        return QStringLiteral("sub-group of %1").arg(SUBGROUP_ITEMS);
    }
    if (after.address + after.count - before.address > blockLimit) {
        return QStringLiteral("block limit of %1").arg(blockLimit);
    }
    return QStringLiteral("order of the entries");
}

// The driver's next request, without a reply: the driver gives it up and moves on. Empty without one.
std::optional<PlannedBlock> nextBlock(DriverSession& session, const LineSettings& settings) {
    FRAME_PRO frame;
    if (!session.nextRequest(&frame)) {
        return std::nullopt;
    }
    PlannedBlock block;
    block.range = ItemRange{frame.station, frame.regType, frame.address, frame.count};
    block.request = QByteArray(reinterpret_cast<const char*>(frame.sendBuf), frame.sendLen);
    block.replyBytes = frame.expectLen;
    if (!isOverTcp(settings)) {
        block.lineUs = silentIntervalUs(settings) + lineTimeUs(settings, frame.sendLen + frame.expectLen);
    }
    QString info;
    session.giveUp(info);
    return block;
}

}  // namespace

QVector<PlannedBlock> explainPlan(DriverSession& session, const ItemNotation& notation,
                                  const QVector<Point>& points, const LineSettings& settings) {
    QVector<PlannedBlock> blocks;
    if (points.isEmpty()) {
        return blocks;
    }
    PollPlan plan(session);
    plan.begin({pollEntries(points)});
    bool cycleOver = false;
    while (!cycleOver) {
        const std::optional<PlannedBlock> next = nextBlock(session, settings);
        if (!next) {
            break;
        }
        PlannedBlock block = *next;
        if (!blocks.isEmpty()) {
            block.apart = apartReason(blocks.last().range, block.range, notation.type(block.range.regType),
                                      settings.block);
        }
        blocks += block;
        cycleOver = plan.blockDone();
    }
    return blocks;
}

QVector<PlannedBlock> explainWrite(DriverSession& session, const WriteRequest& request,
                                   const LineSettings& settings) {
    QVector<PlannedBlock> blocks;
    for (const Operation& operation : writeOperations(request, settings.block)) {
        session.addWrite(operation.range, operation.data);
        while (const std::optional<PlannedBlock> block = nextBlock(session, settings)) {
            blocks += *block;
        }
    }
    return blocks;
}

}  // namespace dx7
