#include "host/items/byte_text.h"

#include <algorithm>

#include "host/error.h"

namespace dx7 {

namespace {

bool isHexDigit(QChar character) {
    const char digit = character.toLatin1();
    return (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f') || (digit >= 'A' && digit <= 'F');
}

// What follows "0x" where the word begins with it.
QString digitsOf(const QString& word) {
    return word.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? word.mid(2) : word;
}

}  // namespace

QByteArray bytesFromWords(const QStringList& words) {
    QByteArray bytes;
    for (const QString& given : words) {
        for (const QString& word : given.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
            const QString digits = digitsOf(word);
            if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), isHexDigit)) {
                throw UsageError(
                    QStringLiteral("\"%1\" is not a byte: write two hexadecimal digits, such as 03 or 0x1F")
                        .arg(word));
            }
            if (digits.size() % 2 != 0) {
                throw UsageError(
                    QStringLiteral("\"%1\" has an odd number of hexadecimal digits: a byte has two, "
                                   "such as 0%1")
                        .arg(digits));
            }
            bytes += QByteArray::fromHex(digits.toLatin1());
        }
    }
    return bytes;
}

}  // namespace dx7
