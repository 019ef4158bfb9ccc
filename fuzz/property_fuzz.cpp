// The property text of a link, and what its settings (block limit and retry count above all) do to a short
// conversation.
#include <QtCore/QList>

#include "link.h"

using namespace dx7fuzz;

namespace {

KEY_ADDRESS entry(const char* regType, int address, int length) {
    KEY_ADDRESS key;
    key.station = 1;
    key.regType = QString::fromLatin1(regType);
    key.address = address;
    key.length = length;
    return key;
}

void converse() {
    QList<KEY_ADDRESS> list;
    list << entry("F", 0, 8) << entry("F", 9, 40) << entry("DO", 1, 2) << entry("AI", 0, 4);
    intf_addrMerge(list);
    unsigned char values[200] = {1, 0, 2, 0};
    intf_setData(1, QString::fromLatin1("F"), 3, 90, values, 2);
    KEY_ADDRESS once = entry("CW_bit", 0, 16);
    once.bitOffset = -1;
    intf_addConditionRead(once, 3);
    for (int i = 0; i < 12; ++i) {
        FRAME_PRO frame;
        if (intf_getSendFrame(&frame) == DX7_SEND_NOTHING) {
            continue;
        }
        checkFrame(frame);
        QByteArray reply;
        QString info;
        const int result = intf_dealRcvFrame(reply, info);
        DX7_REQUIRE(result == (driver.frameList.isEmpty() ? DX7_REPLY_GIVEN_UP : DX7_REPLY_SEND_AGAIN));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray properties(reinterpret_cast<const char*>(data), static_cast<int>(size));
    Link link("7#0#0#9#16", ignoreReport);
    link.start(properties.constData());  // up to the first zero byte, as a host's text would be read
    if (QByteArray(properties.constData()).count('#') < 4) {
        DX7_REQUIRE(driver.linkId == 7 && driver.retryCount == 9 && driver.maxBlockWords == 16);
    }
    DX7_REQUIRE(driver.maxBlockWordsCopy == driver.maxBlockWords);
    DX7_REQUIRE(static_cast<unsigned>(driver.maxBlockBits) ==
                8U * static_cast<unsigned>(driver.maxBlockWords));
    converse();
    return 0;
}
