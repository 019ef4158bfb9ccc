#include "korvalent_dx7.h"

#include <QtCore/QStringList>
#include <algorithm>
#include <cstring>

#include "data_areas.h"

korvalent_dx7 driver;

korvalent_dx7::korvalent_dx7()
    : valueChangeCallback(0),
      linkId(0),
      propField1(0),
      propField2(0),
      retryCount(0),
      maxBlockWords(0),
      hostFlags(0),
      hostParam2(0),
      recipeMemory(0),
      hostMutex(0),
      // Address weights count by this list. It has FW, and lacks SW and FAS: hosts rely on the order that
      // results.
      regNames(
          QString::fromLatin1("CW_bit,SW_bit,DO,RO,SDO,DI,AI,FIN,F,D,DE,CW,FW,MOD").split(QLatin1Char(','))),
      opKind(OP_NONE),
      burstCount(0),
      reservedA(0),
      badReplyCount(0),
      maxBlockBits(0),
      maxBlockWordsCopy(0),
      commFailed(0),
      reservedB(0),
      reservedC(0),
      recipeIndex(0) {}

void rcpAddrToVar(const _RCP_VAR_PRO& recipe, VARIABLE& var, int withData) {
    var.station = recipe.station;
    var.regType = recipe.regType;
    var.address = recipe.address;
    var.count = recipe.count;
    std::memset(var.data, 0, sizeof var.data);
    if (withData != 0 && recipe.count > 0) {
        const std::size_t words =
            std::min<std::size_t>(static_cast<std::size_t>(recipe.count), sizeof var.data / 2);
        const std::ptrdiff_t firstByte = 2 * static_cast<std::ptrdiff_t>(recipe.recipeIndex);
        std::memcpy(var.data, driver.recipeMemory + firstByte, 2 * words);
    }
}

void reportValueChange(int linkId, int station, const QString& regType, int address) {
    Q_ASSERT_X(driver.valueChangeCallback != 0, "korvalent_dx7",
               "the host must register its callback before replies and writes");
    QString hostText(regType);
    driver.valueChangeCallback(linkId, station, hostText, address);
    DataAreaCall::reportReturned();
}

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
        return 0;
    }
    for (int row = 0; row < REG_TYPE_COUNT; ++row) {
        const bool isBit = registerKind(REG_LIST[row]) == KIND_BIT;
        if (isBit == (type == 0)) {
            names.append(REG_LIST[row]);
        }
    }
    return 1;
}

int intf_getRegDiscription(const QString& regType, QList<QString>& texts) {
    const RegisterRow row = registerRow(regType);
    if (row == ROW_UNKNOWN) {
        return 0;
    }
    for (int column = 0; column < REG_COLUMN_COUNT; ++column) {
        texts.append(registerDescription(row, static_cast<RegisterColumn>(column)));
    }
    return 1;
}

namespace {

/// Takes the five settings from the property text; fewer than five fields leave all of them as they are.
void readProperties(const char* properties) {
    const QList<QString> fields = QString::fromLatin1(properties).split(QLatin1Char('#'));
    if (fields.size() <= 4) {
        return;
    }
    driver.linkId = fields.at(0).toInt();
    driver.propField1 = fields.at(1).toInt();
    driver.propField2 = fields.at(2).toInt();
    driver.retryCount = fields.at(3).toInt();
    driver.maxBlockWords = fields.at(4).toInt();
}

}  // namespace

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
    return 1;
}

void intf_setAddrValueChangeCallBack(ValueChangeCallback callback) {
    driver.valueChangeCallback = callback;
}

int intf_setRcpAddress(QVector<_RCP_VAR_PRO>& vars) {
    QVector<_RCP_VAR_PRO> kept;
    for (int i = 0; i < vars.size(); ++i) {
        if (vars.at(i).linkId == driver.linkId) {
            kept.append(vars.at(i));
        }
    }
    driver.recipeVars = kept;
    return kept.size();
}
