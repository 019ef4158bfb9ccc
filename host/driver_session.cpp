#include "driver_session.h"

namespace dx7 {

namespace {

// The driver looks at bytes up to 60116 of this memory; the panel's block is 64 KiB.
const size_t HOST_FLAG_BYTES = 65536;
const size_t RECIPE_BYTES = 131072;

KEY_ADDRESS keyAddress(const ItemRange& range) {
    KEY_ADDRESS key;
    key.station = range.station;
    key.regType = range.regType;
    key.address = range.address;
    key.length = range.count;
    return key;
}

}  // namespace

DriverSession* DriverSession::active_ = nullptr;

DriverSession::DriverSession(const DriverFunctions& functions, const QByteArray& properties)
    : functions_(functions), hostFlags_(HOST_FLAG_BYTES), recipeMemory_(RECIPE_BYTES) {
    active_ = this;
    int out = 0;
    functions_.initProperty(hostFlags_.data(), 0, recipeMemory_.data(), &out, properties.constData(),
                            &mutex_);
    functions_.setAddrValueChangeCallBack(&DriverSession::dispatch);
}

DriverSession::~DriverSession() {
    if (active_ == this) {
        active_ = nullptr;
    }
}

void DriverSession::dispatch(int, int station, QString& regType, int address) {
    // Station -1 marks what is no device item: recipe words and the end of a one-off read.
    if (active_ == nullptr || station < 0) {
        return;
    }
    ++active_->changeReports_;
    if (active_->report_) {
        active_->report_(station, regType, address);
    }
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

int DriverSession::value(int station, const QString& regType, int address, int itemBytes) {
    unsigned char bytes[2] = {0, 0};
    functions_.getData(station, regType, address, 1, bytes);
    return itemBytes == 1 ? bytes[0] : bytes[0] + 256 * bytes[1];
}

}  // namespace dx7
