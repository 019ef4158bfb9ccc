#include "link.h"

#include "common/crc16.h"

namespace dx7bench {

namespace {

const std::size_t HOST_FLAG_BYTES = 65536;
const std::size_t RECIPE_BYTES = 131072;

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
    const unsigned crc = dx7common::crc16(reply.constData(), static_cast<std::size_t>(reply.size()));
    reply += static_cast<char>(crc & 0xFF);
    reply += static_cast<char>(crc >> 8);
    return reply;
}

}  // namespace dx7bench
