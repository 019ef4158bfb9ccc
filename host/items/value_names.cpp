#include "host/items/value_names.h"

#include <QRegularExpression>
#include <algorithm>

#include "host/error.h"
#include "host/items/address_text.h"
#include "host/number_text.h"

namespace dx7 {

namespace {

constexpr QChar BIT_SEPARATOR = QLatin1Char('+');

QString noBits() {
    return QStringLiteral("none");
}

QString unnamedBit(int bit) {
    return QStringLiteral("bit%1").arg(bit);
}

// What begins like a number is read as one, and refused as one.
bool looksLikeNumber(const QString& text) {
    static const QRegularExpression beginning(QStringLiteral("\\A[+-]?\\.?[0-9]"));
    return beginning.match(text).hasMatch() || decimalFraction(text).has_value();
}

void checkName(const QString& name) {
    const auto refuse = [&name](const char* why) {
        throw UsageError(QStringLiteral("name \"%1\" %2").arg(name, QLatin1String(why)));
    };
    if (name.isEmpty()) {
        refuse("is empty");
    }
    if (std::any_of(name.begin(), name.end(),
                    [](QChar character) { return character.category() == QChar::Other_Control; })) {
        refuse("holds a control character");
    }
    if (name.contains(QLatin1Char(',')) || name.contains(BIT_SEPARATOR) || name.contains(QLatin1Char('='))) {
        refuse("holds one of , + = which separate values");
    }
    if (looksLikeNumber(name)) {
        refuse("looks like a number; begin it with a letter");
    }
}

void refuseTaken(const QString& name, bool taken) {
    if (taken) {
        throw UsageError(QStringLiteral("name \"%1\" is given twice").arg(name));
    }
}

// The number of the bit, 0 for the lowest; none for an unknown name.
std::optional<int> bitNamed(const ValueNames& names, int bitCount, const QString& name) {
    const int named = name.isEmpty() ? -1 : names.bits.indexOf(name);
    if (named >= 0) {
        return named;
    }
    for (int bit = 0; bit < bitCount; ++bit) {
        if (name == unnamedBit(bit)) {
            return bit;
        }
    }
    return std::nullopt;
}

QString bitsText(const ValueNames& names, quint32 raw) {
    QStringList set;
    for (int bit = 0; raw != 0; ++bit, raw >>= 1) {
        if ((raw & 1) != 0) {
            const QString name = names.bits.value(bit);
            set += name.isEmpty() ? unnamedBit(bit) : name;
        }
    }
    return set.isEmpty() ? noBits() : set.join(BIT_SEPARATOR);
}

[[noreturn]] void refuseUnknown(const ValueNames& names, const QString& what, const QString& text) {
    const bool bits = !names.bits.isEmpty();
    QStringList known = bits ? names.bits : QStringList(names.numbers.values());
    known.removeAll(QString());
    const QString nearest = nearestName(known, text);
    throw UsageError(
        QStringLiteral("value \"%1\" for %2 is unknown, its %3 are %4%5%6")
            .arg(text, what, QLatin1String(bits ? "bits" : "names"), known.join(QStringLiteral(", ")),
                 bits ? QStringLiteral(", to be joined by +, or none") : QString(),
                 nearest.isNull() ? QString() : QStringLiteral("; the nearest is \"%1\"").arg(nearest)));
}

qint64 bitsNamed(const ValueNames& names, int bitCount, const QString& what, const QString& text) {
    if (text == noBits()) {
        return 0;
    }
    qint64 raw = 0;
    for (const QString& name : text.split(BIT_SEPARATOR)) {
        const std::optional<int> bit = bitNamed(names, bitCount, name);
        if (!bit) {
            refuseUnknown(names, what, name);
        }
        const qint64 mask = 1LL << *bit;
        if ((raw & mask) != 0) {
            throw UsageError(QStringLiteral("value \"%1\" for %2 names the bit \"%3\" twice; name each bit "
                                            "that is to be set once")
                                 .arg(text, what, name));
        }
        raw |= mask;
    }
    return raw;
}

}  // namespace

bool operator==(const ValueNames& a, const ValueNames& b) {
    return a.numbers == b.numbers && a.bits == b.bits;
}

void addNumberName(ValueNames& names, qint64 number, const QString& name) {
    checkName(name);
    const auto& known = names.numbers;
    refuseTaken(name, std::find(known.begin(), known.end(), name) != known.end());
    names.numbers.insert(number, name);
}

void addBitName(ValueNames& names, int bitCount, const QString& name) {
    if (names.bits.size() == bitCount) {
        throw UsageError(QStringLiteral("there are more names than the %1 bits of the value").arg(bitCount));
    }
    if (!name.isEmpty()) {
        static const QRegularExpression unnamed(QStringLiteral("\\Abit[0-9]+\\z"));
        checkName(name);
        refuseTaken(name, names.bits.contains(name));
        if (name == noBits() || unnamed.match(name).hasMatch()) {
            throw UsageError(QStringLiteral("name \"%1\" is what is shown of bits without a name; choose "
                                            "another one")
                                 .arg(name));
        }
    }
    names.bits += name;
}

QString nameOf(const ValueNames& names, qint64 number, quint32 raw) {
    return names.bits.isEmpty() ? names.numbers.value(number) : bitsText(names, raw);
}

std::optional<qint64> numberNamed(const ValueNames& names, int bitCount, const QString& what,
                                  const QString& text) {
    if (looksLikeNumber(text)) {
        return std::nullopt;
    }
    if (!names.bits.isEmpty()) {
        return bitsNamed(names, bitCount, what, text);
    }
    const auto& known = names.numbers;
    const auto named = std::find(known.begin(), known.end(), text);
    if (named == known.end()) {
        refuseUnknown(names, what, text);
    }
    return named.key();
}

}  // namespace dx7
