// Address texts and what is computed from addresses.
#include "model.h"

namespace model {

namespace {

struct Range {
    const char16_t* name;
    int minimum;
    int limit;
};

// Lowest start, and the limit that start + count may reach.
const Range ranges[15] = {
    {u"CW_bit", 0, 16}, {u"SW_bit", 0, 16}, {u"DO", 1, 3},  {u"RO", 1, 2},  {u"SDO", 1, 9},
    {u"DI", 1, 7},      {u"AI", 0, 4},      {u"FIN", 0, 1}, {u"F", 0, 897}, {u"D", 0, 113},
    {u"DE", 0, 56},     {u"CW", 0, 1},      {u"SW", 0, 1},  {u"MOD", 1, 3}, {u"FAS", 0, 1},
};

bool isAsciiHexDigit(char16_t c) {
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

Text hexadecimal(unsigned number) {
    const char16_t* const digits = u"0123456789abcdef";
    Text text;
    do {
        text = digits[number % 16] + text;
        number /= 16;
    } while (number != 0);
    return text;
}

}  // namespace

int Model::a2i_dddd_h_h_dd(const Text& text, int* value) const {
    const std::vector<Text> fields = splitText(text, u'.');
    const char16_t firstCharacter = fields.front().empty() ? u'\0' : fields.front()[0];
    if (!isAsciiHexDigit(firstCharacter)) {
        return -1;
    }
    bool ok = false;
    const int group = toInt(fields.front(), 16, &ok);
    const int index = toInt(fields.back(), 10, &ok);
    *value = wrapAdd(wrapMul(56, group), index);
    if (fields.size() != 3) {
        return -1;
    }
    return ok ? 1 : -1;
}

int Model::checkRange(const Text& regType, const Text& addrText, int* address, int count,
                      int unknownResult) const {
    for (const Range& range : ranges) {
        if (regType != range.name) {
            continue;
        }
        const bool grouped = regType == u"F" || regType == u"D";
        if (grouped) {
            if (a2i_dddd_h_h_dd(addrText, address) == -1) {
                return 4;
            }
        } else {
            bool ok = false;
            *address = toInt(addrText, 10, &ok);
            if (!ok) {
                return 4;
            }
        }
        if (*address < range.minimum || static_cast<long long>(*address) + count > range.limit) {
            return 2;
        }
        if (grouped) {
            bool ok = false;
            if (toInt(splitText(addrText, u'.').back(), 10, &ok) > 55) {
                return 2;
            }
        }
        return 0;
    }
    return unknownResult;
}

int Model::intf_checkAddrValidity(const Text& regType, const Text& addrText, int* address, int count,
                                  int wordAccess) const {
    if (isBitType(regType) && wordAccess != 0) {
        return 1;
    }
    if ((isWordType(regType) || regType == u"FAS") && wordAccess == 0) {
        return 1;
    }
    if (addrText.find(u'-') != Text::npos) {
        return 4;
    }
    if (addrText.find(u'+') != Text::npos) {
        return 4;
    }
    return checkRange(regType, addrText, address, count, 3);
}

int Model::intf_checkAddr(const Text& regType, const Text& addrText, int* address, int dataType, int count,
                          int accessMode) const {
    if (isBitType(regType) && dataType != -1) {
        return 1;
    }
    if ((isWordType(regType) || regType == u"FAS") && dataType == -1) {
        return 1;
    }
    const std::size_t longest = regType == u"F" || regType == u"D" ? 6 : 3;
    if (addrText.size() > longest) {
        return 16;
    }
    for (const char16_t* readOnly : {u"SW_bit", u"DI", u"AI", u"FI", u"DE", u"D", u"SW"}) {
        if (regType == readOnly && (accessMode == 1 || accessMode == 2)) {
            return 6;
        }
    }
    return checkRange(regType, addrText, address, count, 0);
}

int Model::intf_multiCopy(const Text& regType, int start, int copies, int step, std::vector<Text>* texts,
                          std::vector<int>* addresses) const {
    const int row = rowOf(regType);
    if (row < 0) {
        return 0;
    }
    if (step == -1) {
        step = 1;
    } else if (step == -2) {
        step = isBitType(regType) ? 1 : 2;
    } else if (step < 1) {
        step = 1;
    }
    const bool grouped = regType == u"F" || regType == u"D" || regType == u"DE";
    const Text maxText = descriptionOf(row, 2);
    int max = 0;
    bool ok = false;
    if (grouped) {
        a2i_dddd_h_h_dd(maxText, &max);
    } else {
        max = toInt(maxText, 10, &ok);
    }
    int result = 1;
    for (int i = 0; i < copies; ++i) {
        const int addr = wrapAdd(start, wrapMul(i, step));
        if (addr > max) {
            addresses->push_back(max);
            texts->push_back(maxText);
            result = 2;
        } else if (grouped) {
            addresses->push_back(addr);
            texts->push_back(hexadecimal(static_cast<unsigned>(addr / 56)) + u".0." +
                             decimal(static_cast<unsigned>(addr % 56)));
        } else {
            addresses->push_back(addr);
            texts->push_back(decimal(static_cast<unsigned>(addr)));
        }
    }
    return result;
}

int Model::getRegAddressWeight(int station, const Text& regType, int address, int /*ignored*/) const {
    const int stationTerm = wrapMul(327675, station);
    for (std::size_t i = 0; i < regNames.size(); ++i) {
        if (regNames[i] == regType) {
            return wrapAdd(wrapAdd(stationTerm, wrapMul(static_cast<int>(i) + 1, 65535)), address);
        }
    }
    return wrapAdd(stationTerm, address);
}

int Model::_setBitValue(int value, int bit, int on) const {
    const unsigned mask = 1U << (static_cast<unsigned>(bit) & 31U);
    const unsigned old = static_cast<unsigned>(value);
    return static_cast<int>(on != 0 ? old | mask : old & ~mask);
}

}  // namespace model
