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

}  // namespace

QVector<PlannedBlock> explainPlan(DriverSession& session, const ItemNotation& notation,
                                  const QVector<Point>& points, const LineSettings& settings) {
    PollPlan plan(session);
    plan.setEntries(pollEntries(points));
    plan.rebuild({});
    QVector<PlannedBlock> blocks;
    bool cycleOver = false;
    while (!cycleOver) {
        FRAME_PRO frame;
        if (session.functions().getSendFrame(&frame) != DX7_SEND_FRAME) {
            break;
        }
        PlannedBlock block;
        block.range = ItemRange{frame.station, frame.regType, frame.address, frame.count};
        block.request = QByteArray(reinterpret_cast<const char*>(frame.sendBuf), frame.sendLen);
        block.replyBytes = frame.expectLen;
        if (settings.carrier != Carrier::Tcp) {
            block.lineUs = silentIntervalUs(settings) + lineTimeUs(settings, frame.sendLen + frame.expectLen);
        }
        if (!blocks.isEmpty()) {
            block.apart =
                apartReason(blocks.last().range, block.range, notation.type(frame.regType), settings.block);
        }
        blocks += block;
        // No reply, until the driver gives up, moves the plan on.
        int result = DX7_REPLY_SEND_AGAIN;
        while (result == DX7_REPLY_SEND_AGAIN) {
            QByteArray nothing;
            QString info;
            result = session.functions().dealRcvFrame(nothing, info);
        }
        cycleOver = plan.blockDone();
    }
    return blocks;
}

}  // namespace dx7
