/// \file
/// What the tests of conversations share: the reply that a well-behaved device gives, the traffic as short
/// texts, and access to single items of the store.
#ifndef KORVALENT_DX7_TESTS_LINE_H
#define KORVALENT_DX7_TESTS_LINE_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include "support.h"

namespace dx7test {

/// The good reply to `frame`: the acknowledgement of a write, or zeros as the data of a read; empty when no
/// reply is expected.
inline QByteArray goodReply(const FRAME_PRO& frame) {
    if (frame.expectLen == 0)
        return QByteArray();
    const int functionCode = frame.sendBuf[1];
    if (functionCode == 5 || functionCode == 6 || functionCode == 16)
        return ack(frame);
    QByteArray body;
    body.append(static_cast<char>(frame.sendBuf[0])).append(static_cast<char>(functionCode));
    if (functionCode != 7)
        body.append(static_cast<char>(frame.expectLen - 5));
    return withCrc(body.leftJustified(frame.expectLen - 2, '\0'));
}

/// Asks the driver what to send; a short text of it ("read CW0(1)", "write DO1(1)") or "nothing".
inline QString whatIsSent() {
    FRAME_PRO frame;
    if (intf_getSendFrame(&frame) == 0)
        return QString("nothing");
    const int functionCode = frame.sendBuf[1];
    const bool isWrite = functionCode == 5 || functionCode == 6 || functionCode == 16;
    return QString("%1 %2%3(%4)")
        .arg(isWrite ? "write" : "read", frame.regType)
        .arg(frame.address)
        .arg(frame.count);
}

/// Hands `reply` to the driver and returns its judgement.
inline int answer(QByteArray reply) {
    QString info;
    return intf_dealRcvFrame(reply, info);
}

/// Answers the frame that waits for its reply as a good device does and returns the driver's judgement.
inline int answerWell() {
    FRAME_PRO frame;
    return intf_getSendFrame(&frame) == 0 ? -1 : answer(goodReply(frame));
}

/// Runs the loop `steps` times with good replies; what was sent, joined by commas.
inline QString traffic(int steps) {
    QStringList sent;
    for (int i = 0; i < steps; ++i) {
        sent << whatIsSent();
        if (sent.last() != QString("nothing"))
            answerWell();
    }
    return sent.join(", ");
}

/// The area of one item, for looking at and editing; appended when there is none. Valid until areas are
/// added.
inline _DATA_& areaOf(const char* regType, int address, int station = 1) {
    for (int i = 0; i < driver.dataAreas.size(); ++i) {
        const _DATA_& candidate = driver.dataAreas.at(i);
        if (candidate.station == station && candidate.address == address &&
            candidate.regType == QString(regType))
            return driver.dataAreas[i];
    }
    driver.dataAreas << area(station, regType, address);
    return driver.dataAreas.last();
}

/// Makes the items the only monitored ones, polled as one block.
inline void monitorOnly(const char* regType, int address, int length) {
    QList<KEY_ADDRESS> list;
    list << entry(1, regType, address, length);
    intf_addrMerge(list);
}

/// Drops what is on the line and queued, and puts the read of these items on the line.
inline void putReadOnLine(const char* regType, int address, int count) {
    driver.frameList.clear();
    driver.writeList.clear();
    driver.conditionList.clear();
    driver.pollList.clear();
    driver.pollList << request(1, regType, address, count, 4);
    FRAME_PRO frame;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
}

}  // namespace dx7test

#endif
