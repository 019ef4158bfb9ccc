#include "korvalent_dx7.h"

#include <QtCore/QStringList>

#include "register_map.h"

korvalent_dx7 driver;

namespace {

/// Takes the five settings from the property text; fewer than five fields leave all of them as they are.
void readProperties(const char* properties) {
    const QList<QString> fields = QString::fromLatin1(properties).split(QLatin1Char('#'));
    if (fields.size() < 5) {
        return;
    }
    driver.linkId = fields.at(0).toInt();
    driver.propField1 = fields.at(1).toInt();
    driver.propField2 = fields.at(2).toInt();
    driver.retryCount = fields.at(3).toInt();
    driver.maxBlockWords = fields.at(4).toInt();
}

}  // namespace

void intf_getProtocolType(int* protocolType) {
    *protocolType = 0;
}

void intf_getDriverParameter(QString& parameter) {
    QString text = QString::fromLatin1("0,9600,8,NONE,1,0,1,192.168.0.10,8888,korvalent_dx7");
    for (int row = 0; row < REG_TYPE_COUNT; ++row) {
        text += QLatin1Char(',') + REG_LIST[row];
    }
    parameter = text;
}

void intf_getDriverPropertyPage(QString& page) {
    page = QString::fromLatin1("0_0");
}

void intf_SetDriverPropertyPage(QString& page) {
    page = QString::fromLatin1("");
}

int intf_getRegListByType(int type, QList<QString>& names) {
    if (type != 0 && type != 1) {
        return DX7_TYPE_UNKNOWN;
    }
    for (int row = 0; row < REG_TYPE_COUNT; ++row) {
        const bool isBit = typeInRow(row).kind == KIND_BIT;
        if (isBit == (type == 0)) {
            names.append(REG_LIST[row]);
        }
    }
    return DX7_TYPE_KNOWN;
}

int intf_getRegDiscription(const QString& regType, QList<QString>& texts) {
    const int row = registerRow(regType);
    if (row == ROW_UNKNOWN) {
        return DX7_TYPE_UNKNOWN;
    }
    for (int column = 0; column < REG_COLUMN_COUNT; ++column) {
        texts.append(registerDescription(row, static_cast<RegisterColumn>(column)));
    }
    return DX7_TYPE_KNOWN;
}

int intf_initProperty(unsigned char* hostFlags, quintptr hostParam2, unsigned char* recipeMemory, int* out,
                      const char* properties, QMutex* mutex) {
    *out = 0;
    readProperties(properties);

    driver.hostFlags = hostFlags;
    driver.hostParam2 = hostParam2;
    driver.recipeMemory = recipeMemory;
    driver.hostMutex = mutex;

    driver.pollList.clear();
    driver.writeList.clear();
    driver.conditionList.clear();
    driver.dataAreas.clear();
    driver.frameList.clear();

    driver.opKind = OP_NONE;
    driver.burstCount = 0;
    driver.reservedA = 0;
    driver.badReplyCount = 0;
    driver.commFailed = 0;
    driver.reservedB = 0;
    driver.reservedC = 1;
    driver.maxBlockWordsCopy = driver.maxBlockWords;
    driver.maxBlockBits = static_cast<int>(8U * static_cast<unsigned>(driver.maxBlockWords));
    return DX7_DONE;
}

void intf_setAddrValueChangeCallBack(ValueChangeCallback callback) {
    driver.valueChangeCallback = callback;
}
