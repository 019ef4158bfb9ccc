// Describing and configuring the driver.
#include <utility>

#include "model.h"

namespace model {

Model::Model() {
    regNames = splitText(u"CW_bit,SW_bit,DO,RO,SDO,DI,AI,FIN,F,D,DE,CW,FW,MOD", u',');
}

void Model::intf_getProtocolType(int* out) const {
    *out = 0;
}

void Model::intf_getDriverParameter(Text& out) const {
    out =
        u"0,9600,8,NONE,1,0,1,192.168.0.10,8888,korvalent_dx7,CW_bit,SW_bit,DO,RO,SDO,DI,AI,FIN,F,D,DE,CW,SW,"
        u"MOD,FAS";
}

void Model::intf_getDriverPropertyPage(Text& out) const {
    out = u"0_0";
}

void Model::intf_SetDriverPropertyPage(Text& out) const {
    out = u"";
}

int Model::intf_getRegListByType(int type, std::vector<Text>& out) const {
    if (type == 0) {
        for (const char16_t* name : {u"CW_bit", u"SW_bit", u"DO", u"RO", u"SDO", u"DI"}) {
            out.emplace_back(name);
        }
        return 1;
    }
    if (type == 1) {
        for (const char16_t* name : {u"AI", u"FIN", u"F", u"D", u"DE", u"CW", u"SW", u"MOD", u"FAS"}) {
            out.emplace_back(name);
        }
        return 1;
    }
    return 0;
}

int Model::intf_getRegDiscription(const Text& type, std::vector<Text>& out) const {
    const int row = rowOf(type);
    if (row < 0) {
        return 0;
    }
    for (int column = 0; column < 5; ++column) {
        out.push_back(descriptionOf(row, column));
    }
    return 1;
}

int Model::intf_initProperty(Byte* flags, std::uintptr_t param2, Byte* recipe, int* out,
                             const char* properties, const void* mutex) {
    *out = 0;
    Text text;
    for (const char* p = properties; p != nullptr && *p != '\0'; ++p) {
        text += static_cast<char16_t>(static_cast<Byte>(*p));
    }
    const std::vector<Text> parts = splitText(text, u'#');
    if (parts.size() > 4) {
        bool ok = false;
        linkId = toInt(parts[0], 10, &ok);
        propField1 = toInt(parts[1], 10, &ok);
        propField2 = toInt(parts[2], 10, &ok);
        retryCount = toInt(parts[3], 10, &ok);
        maxBlockWords = toInt(parts[4], 10, &ok);
    }
    hostFlags = flags;
    hostParam2 = param2;
    recipeMemory = recipe;
    hostMutex = mutex;
    pollList.clear();
    writeList.clear();
    conditionList.clear();
    dataAreas.clear();
    frameList.clear();
    opKind = 0;
    burstCount = 0;
    reservedA = 0;
    badReplyCount = 0;
    commFailed = 0;
    reservedB = 0;
    reservedC = 1;
    maxBlockWordsCopy = maxBlockWords;
    maxBlockBits = wrapMul(8, maxBlockWords);
    return 1;
}

void Model::intf_setAddrValueChangeCallBack(Callback callback) {
    valueChangeCallback = std::move(callback);
}

int Model::intf_setRcpAddress(const std::vector<RecipeVar>& vars) {
    recipeVars.clear();
    for (const RecipeVar& var : vars) {
        if (var.linkId == linkId) {
            recipeVars.push_back(var);
        }
    }
    return static_cast<int>(recipeVars.size());
}

void Model::rcpAddrToVar(const RecipeVar& recipe, Variable& var, int withData) const {
    var.station = recipe.station;
    var.regType = recipe.regType;
    var.address = recipe.address;
    var.count = recipe.count;
    var.data.fill(0);
    if (withData != 0) {
        const long long bytes = 2LL * recipe.count;
        const long long start = 2LL * recipe.recipeIndex;
        for (long long i = 0; i < bytes && i < 1024; ++i) {
            var.data[static_cast<std::size_t>(i)] = recipeMemory[start + i];
        }
    }
}

// The host gets a text of its own: what it does to it stays without effect.
void Model::report(int link, int station, const Text& regType, int address) {
    Text own = regType;
    valueChangeCallback(link, station, own, address);
}

}  // namespace model
