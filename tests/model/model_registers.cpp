// The register types and what every file of the model needs.
#include <QtCore/QString>

#include "model.h"
#include "tests/kit/crc.h"

namespace model {

namespace {

struct Row {
    const char16_t* name;
    const char16_t* description[5];
};

const Row rows[15] = {
    {u"CW_bit", {u"ddd", u"0", u"15", u"0", u"1"}},
    {u"SW_bit", {u"ddd", u"0", u"15", u"0", u"0"}},
    {u"DO", {u"ddd", u"1", u"2", u"0", u"1"}},
    {u"RO", {u"ddd", u"1", u"1", u"0", u"1"}},
    {u"SDO", {u"ddd", u"1", u"8", u"0", u"1"}},
    {u"DI", {u"ddd", u"1", u"6", u"0", u"0"}},
    {u"AI", {u"ddd", u"0", u"3", u"1", u"0"}},
    {u"FIN", {u"ddd", u"0", u"0", u"1", u"0"}},
    {u"F", {u"h.h.dd", u"0.0.00", u"F.#.55", u"1", u"1"}},
    {u"D", {u"h.h.dd", u"0.0.00", u"1.#.55", u"1", u"0"}},
    {u"DE", {u"dd", u"0", u"55", u"1", u"0"}},
    {u"CW", {u"ddd", u"0", u"0", u"1", u"1"}},
    {u"SW", {u"ddd", u"0", u"0", u"1", u"0"}},
    {u"MOD", {u"ddd", u"1", u"2", u"1", u"1"}},
    {u"FAS", {u"ddd", u"0", u"0", u"1", u"0"}},
};

}  // namespace

int wrapAdd(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

int wrapSub(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

int wrapMul(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

bool isBitType(const Text& regType) {
    return regType == u"CW_bit" || regType == u"SW_bit" || regType == u"DO" || regType == u"RO" ||
           regType == u"SDO" || regType == u"DI";
}

bool isWordType(const Text& regType) {
    return regType == u"AI" || regType == u"FIN" || regType == u"F" || regType == u"D" || regType == u"DE" ||
           regType == u"CW" || regType == u"SW" || regType == u"MOD";
}

int rowOf(const Text& regType) {
    for (int row = 0; row < 15; ++row) {
        if (regType == rows[row].name) {
            return row;
        }
    }
    return -1;
}

Text descriptionOf(int row, int column) {
    return rows[row].description[column];
}

std::vector<Text> splitText(const Text& text, char16_t separator) {
    std::vector<Text> parts(1);
    for (char16_t c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

int toInt(const Text& text, int base, bool* ok) {
    const QString converted(reinterpret_cast<const QChar*>(text.data()), static_cast<int>(text.size()));
    return converted.toInt(ok, base);
}

Text decimal(long long number) {
    Text text;
    for (char c : std::to_string(number)) {
        text += static_cast<char16_t>(c);
    }
    return text;
}

int crcOf(const std::vector<Byte>& bytes, std::size_t length) {
    std::vector<Byte> covered(bytes);
    covered.resize(length);
    return kit::crcOf(covered);
}

Byte replyByte(const std::vector<Byte>& reply, long long index) {
    if (index < 0 || index >= static_cast<long long>(reply.size())) {
        return 0;
    }
    return reply[static_cast<std::size_t>(index)];
}

int groupBase(int address) {
    return address / 8 * 8;
}

int bitInGroup(int address) {
    return (address - groupBase(address)) & 7;
}

}  // namespace model
