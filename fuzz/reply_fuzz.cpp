// Reply bytes against each kind of frame that can wait for its reply.
//
// Input: kind of frame, form of the reply (0 as it stands; 1 brought to the right length; 2 that, with a
// right CRC), reply bytes.
#include <QtCore/QList>

#include "link.h"

using namespace dx7fuzz;

namespace {

struct Request {
    const char* regType;
    int address;
    int count;
    bool write;
};

const Request REQUESTS[] = {
    {"CW_bit", 0, 16, false}, {"SW_bit", 3, 5, false}, {"DO", 1, 2, false},  {"DI", 1, 6, false},
    {"AI", 0, 4, false},      {"FIN", 0, 1, false},    {"F", 193, 7, false}, {"D", 56, 5, false},
    {"DE", 40, 10, false},    {"CW", 0, 1, false},     {"SW", 0, 1, false},  {"MOD", 1, 2, false},
    {"FAS", 0, 1, false},     {"CW_bit", 4, 1, true},  {"DO", 2, 1, true},   {"CW", 0, 1, true},
    {"F", 25, 1, true},       {"F", 193, 7, true},     {"MOD", 1, 2, true},
};
const std::size_t REQUEST_COUNT = sizeof REQUESTS / sizeof REQUESTS[0];

QByteArray shaped(const QByteArray& bytes, int form, int expected) {
    if (form == 0) {
        return bytes;
    }
    if (form == 1 || expected < 3) {
        return bytes.leftJustified(expected, '\0', true);
    }
    return withCrc(bytes.leftJustified(expected - 2, '\0', true));
}

std::vector<unsigned char> shownValues(const Request& request) {
    std::vector<unsigned char> values(2 * static_cast<std::size_t>(request.count));
    intf_getData(1, QString::fromLatin1(request.regType), request.address, request.count, values.data());
    return values;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const Request& request = REQUESTS[data[0] % REQUEST_COUNT];
    const QString regType = QString::fromLatin1(request.regType);
    Link link("1#0#0#2#64", ignoreReport);
    KEY_ADDRESS key;
    key.station = 1;
    key.regType = regType;
    key.address = request.address;
    key.length = request.count;
    QList<KEY_ADDRESS> list;
    list << key;
    intf_addrMerge(list);
    if (request.write) {
        std::vector<unsigned char> values(2 * static_cast<std::size_t>(request.count), 1);
        intf_setData(1, regType, request.address, request.count, values.data(), 2);
    }

    FRAME_PRO frame;
    DX7_REQUIRE(intf_getSendFrame(&frame) == DX7_SEND_FRAME);
    checkFrame(frame);
    QByteArray reply = shaped(QByteArray(reinterpret_cast<const char*>(data) + 2, static_cast<int>(size - 2)),
                              data[1] % 3, frame.expectLen);
    const bool good = reply.size() == frame.expectLen &&
                      hasRightCrc(reinterpret_cast<const unsigned char*>(reply.constData()), reply.size());
    const std::vector<unsigned char> before = shownValues(request);
    QString info;
    const int result = intf_dealRcvFrame(reply, info);
    DX7_REQUIRE(result == (good ? DX7_REPLY_GOOD : DX7_REPLY_SEND_AGAIN));
    DX7_REQUIRE(!info.isEmpty());
    DX7_REQUIRE(driver.frameList.size() == (good ? 0 : 1));
    if (!good) {
        DX7_REQUIRE(before == shownValues(request));
        DX7_REQUIRE(intf_dealRcvFrame(reply, info) == DX7_REPLY_GIVEN_UP);
        DX7_REQUIRE(driver.frameList.isEmpty() && driver.commFailed == 1);
    }
    return 0;
}
