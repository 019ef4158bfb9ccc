#include "link.h"

namespace dx7bench {

namespace {

const std::size_t HOST_FLAG_BYTES = 65536;
const std::size_t RECIPE_BYTES = 131072;

/// CRC-16 of Modbus, bit by bit: replies are made before the clock runs.
unsigned crcOf(const QByteArray& bytes) {
    unsigned crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xA001 : crc >> 1;
        }
    }
    return crc;
}

}  // namespace

Link::Link(ValueChangeCallback callback) : hostFlags_(HOST_FLAG_BYTES), recipeMemory_(RECIPE_BYTES) {
    int out = 0;
    intf_initProperty(hostFlags_.data(), 0, recipeMemory_.data(), &out, "0#0#0#3#64", &mutex_);
    intf_setAddrValueChangeCallBack(callback);
}

void ignoreReport(int, int, QString&, int) {}

QByteArray readReply(int station, int functionCode, const QByteArray& data) {
    QByteArray reply;
    reply += static_cast<char>(station);
    reply += static_cast<char>(functionCode);
    reply += static_cast<char>(data.size());
    reply += data;
    const unsigned crc = crcOf(reply);
    reply += static_cast<char>(crc & 0xFF);
    reply += static_cast<char>(crc >> 8);
    return reply;
}

}  // namespace dx7bench
