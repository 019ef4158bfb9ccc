#include "support.h"

#include <cstring>

void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toUtf8().constData() << '"';
}

void PrintTo(const QByteArray& bytes, std::ostream* out) {
    *out << '[';
    for (int i = 0; i < bytes.size(); ++i)
        *out << (i == 0 ? "" : " ") << bytes.mid(i, 1).toHex().constData();
    *out << ']';
}

namespace dx7test {

namespace {

/// Sets every field of the driver to its value before the first initialisation.
void forgetEverything() {
    driver.valueChangeCallback = nullptr;
    driver.linkId = driver.propField1 = driver.propField2 = driver.retryCount = driver.maxBlockWords = 0;
    driver.hostFlags = nullptr;
    driver.hostParam2 = 0;
    driver.recipeMemory = nullptr;
    driver.hostMutex = nullptr;
    driver.pollList.clear();
    driver.writeList.clear();
    driver.conditionList.clear();
    driver.dataAreas.clear();
    driver.recipeVars.clear();
    driver.recipeBlocks.clear();
    driver.recipeBlockStart.clear();
    driver.conditionVar = VARIABLE();
    driver.currentVar = VARIABLE();
    driver.opKind = driver.burstCount = driver.reservedA = driver.badReplyCount = 0;
    driver.maxBlockBits = driver.maxBlockWordsCopy = driver.commFailed = 0;
    driver.reservedB = driver.reservedC = 0;
    driver.frameList.clear();
    driver.recipeIndex = 0;
}

template <typename List>
ItemsList allItemsOf(const List& list) {
    ItemsList all;
    for (const auto& element : list)
        all.push_back(itemsOf(element));
    return all;
}

}  // namespace

bool operator==(const Report& a, const Report& b) {
    return a.linkId == b.linkId && a.station == b.station && a.regType == b.regType && a.address == b.address;
}

void PrintTo(const Report& report, std::ostream* out) {
    *out << "report(link " << report.linkId << ", station " << report.station << ", "
         << report.regType.toUtf8().constData() << ' ' << report.address << ')';
}

bool operator==(const Items& a, const Items& b) {
    return a.station == b.station && a.regType == b.regType && a.address == b.address && a.count == b.count;
}

void PrintTo(const Items& items, std::ostream* out) {
    *out << items.station << '#' << items.regType.toUtf8().constData() << items.address << '(' << items.count
         << ')';
}

Items itemsOf(const VARIABLE& var) {
    return Items{var.station, var.regType, var.address, var.count};
}

Items itemsOf(const KEY_ADDRESS& key) {
    return Items{key.station, key.regType, key.address, key.length};
}

ItemsList itemsOf(const QList<VARIABLE>& list) {
    return allItemsOf(list);
}

ItemsList itemsOf(const QList<KEY_ADDRESS>& list) {
    return allItemsOf(list);
}

KEY_ADDRESS entry(int station, const QString& regType, int address, int length) {
    KEY_ADDRESS key;
    key.station = station;
    key.regType = regType;
    key.address = address;
    key.length = length;
    return key;
}

VARIABLE request(int station, const QString& regType, int address, int count, int opKind,
                 const QByteArray& data) {
    VARIABLE var;
    var.opKind = opKind;
    var.station = station;
    var.regType = regType;
    var.address = address;
    var.count = count;
    std::memcpy(var.data, data.constData(), static_cast<size_t>(qMin(data.size(), int(DX7_DATA_BYTES))));
    return var;
}

_RCP_VAR_PRO recipeVariable(int linkId, int station, const QString& regType, int address, int count,
                            int recipeIndex) {
    _RCP_VAR_PRO recipe;
    recipe.linkId = linkId;
    recipe.station = station;
    recipe.regType = regType;
    recipe.address = address;
    recipe.count = count;
    recipe.recipeIndex = recipeIndex;
    return recipe;
}

_DATA_ area(int station, const QString& regType, int address) {
    _DATA_ data;
    data.station = station;
    data.regType = regType;
    data.address = address;
    return data;
}

QByteArray hex(const char* digits) {
    return QByteArray::fromHex(QByteArray(digits));
}

QByteArray bitReply(int station, int functionCode, const QByteArray& packed) {
    QByteArray body;
    body += static_cast<char>(station);
    body += static_cast<char>(functionCode);
    body += static_cast<char>(packed.size());
    return withCrc(body + packed);
}

QByteArray wordReply(int station, int functionCode, const QVector<int>& words) {
    QByteArray body;
    body += static_cast<char>(station);
    body += static_cast<char>(functionCode);
    body += static_cast<char>(2 * words.size());
    for (int word : words) {
        body += static_cast<char>((word >> 8) & 0xFF);
        body += static_cast<char>(word & 0xFF);
    }
    return withCrc(body);
}

QByteArray statusReply(int station, int status) {
    QByteArray body;
    body += static_cast<char>(station);
    body += static_cast<char>(7);
    body += static_cast<char>(status);
    return withCrc(body);
}

QByteArray ack(const FRAME_PRO& frame) {
    return withCrc(sentBytes(frame).left(6));
}

QByteArray sentBytes(const FRAME_PRO& frame) {
    return QByteArray(reinterpret_cast<const char*>(frame.sendBuf), frame.sendLen);
}

DriverTest* DriverTest::current_ = nullptr;

void DriverTest::SetUp() {
    current_ = this;
    hostFlags.assign(60200, 0);
    recipeMemory.assign(8192, 0);
    forgetEverything();
    ASSERT_EQ(init("1#0#0#3#64"), 1);
    intf_setAddrValueChangeCallBack(&DriverTest::record);
}

void DriverTest::TearDown() {
    forgetEverything();
    current_ = nullptr;
}

int DriverTest::init(const char* properties) {
    int out = -1;
    return intf_initProperty(hostFlags.data(), 0, recipeMemory.data(), &out, properties, &mutex);
}

Reports DriverTest::takeReports() {
    Reports taken;
    taken.swap(reports);
    return taken;
}

void DriverTest::record(int linkId, int station, QString& regType, int address) {
    const Report report{linkId, station, regType, address};
    current_->reports.push_back(report);
    if (!current_->scribble.isNull())
        regType = current_->scribble;
    if (current_->hook)
        current_->hook(report);
}

}  // namespace dx7test
