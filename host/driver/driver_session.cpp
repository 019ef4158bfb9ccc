#include "host/driver/driver_session.h"

namespace dx7 {

namespace {

// The driver looks at bytes up to 60116 of this memory; the panel's block is 64 KiB.
constexpr size_t HOST_FLAG_BYTES = 65536;
constexpr size_t RECIPE_BYTES = 131072;

KEY_ADDRESS keyAddress(const ItemRange& range) {
    KEY_ADDRESS key;
    key.station = range.station;
    key.regType = range.regType;
    key.address = range.address;
    key.length = range.count;
    return key;
}

// The driver requires a function for its reports.
void ignoreReport(int, int, QString&, int) {}

}  // namespace

DriverSession::DriverSession(const DriverFunctions& functions, const QByteArray& properties)
    : functions_(functions), hostFlags_(HOST_FLAG_BYTES), recipeMemory_(RECIPE_BYTES) {
    int out = 0;
    functions_.initProperty(hostFlags_.data(), 0, recipeMemory_.data(), &out, properties.constData(),
                            &mutex_);
    functions_.setAddrValueChangeCallBack(&ignoreReport);
}

bool DriverSession::nextRequest(FRAME_PRO* frame) {
    // After a burst of requests without a polling plan the driver says once that there is nothing.
    return functions_.getSendFrame(frame) == DX7_SEND_FRAME ||
           functions_.getSendFrame(frame) == DX7_SEND_FRAME;
}

int DriverSession::takeReply(QByteArray& reply, QString& info) {
    return functions_.dealRcvFrame(reply, info);
}

int DriverSession::giveUp(QString& info) {
    int result = DX7_REPLY_SEND_AGAIN;
    while (result == DX7_REPLY_SEND_AGAIN) {
        QByteArray nothing;
        result = takeReply(nothing, info);
    }
    return result;
}

QVector<ItemRange> DriverSession::merge(const QVector<ItemRange>& entries) {
    QList<KEY_ADDRESS> list;
    for (const ItemRange& entry : entries) {
        list.append(keyAddress(entry));
    }
    functions_.addrMerge(list);
    QVector<ItemRange> blocks;
    for (const KEY_ADDRESS& key : qAsConst(list)) {
        blocks += ItemRange{key.station, key.regType, key.address, key.length};
    }
    return blocks;
}

void DriverSession::addRead(const ItemRange& range, bool bits) {
    KEY_ADDRESS key = keyAddress(range);
    key.bitOffset = bits ? -1 : 0;
    functions_.addConditionRead(key, TAG_READ);
}

void DriverSession::addWrite(const ItemRange& range, const QByteArray& data) {
    QByteArray copy = data;
    functions_.setData(range.station, range.regType, range.address, range.count,
                       reinterpret_cast<unsigned char*>(copy.data()), TAG_WRITE);
}

void DriverSession::values(const ItemRange& range, int itemBytes, std::vector<quint16>* items) {
    values_.assign(static_cast<std::size_t>(range.count) * 2, 0);
    functions_.getData(range.station, range.regType, range.address, range.count, values_.data());
    for (int i = 0; i < range.count; ++i) {
        const unsigned char* const item = values_.data() + static_cast<std::size_t>(i * itemBytes);
        items->push_back(static_cast<quint16>(itemBytes == 1 ? item[0] : item[0] + 256 * item[1]));
    }
}

}  // namespace dx7
