#include "host/items/register_words.h"

namespace dx7 {

namespace {

constexpr int WORD_BYTES = 2;

int wordAtByte(const QByteArray& bytes, int index) {
    return static_cast<quint8>(bytes.at(index)) << 8 | static_cast<quint8>(bytes.at(index + 1));
}

}  // namespace

ValueFormat wordFormat(const QString& text) {
    return formatFromOptions(text.split(QLatin1Char('/')));
}

QVector<RegisterValue> registerValues(const ValueFormat& format, int first, const QByteArray& words) {
    QVector<RegisterValue> values;
    const int each = format.items();
    for (int word = 0; WORD_BYTES * (word + each) <= words.size(); word += each) {
        const quint16 high = static_cast<quint16>(wordAtByte(words, WORD_BYTES * word));
        const quint16 low =
            each > 1 ? static_cast<quint16>(wordAtByte(words, WORD_BYTES * (word + 1))) : quint16(0);
        values += RegisterValue{(first + word) & 0xFFFF, rawFromItems(format, high, low)};
    }
    return values;
}

QString wordText(const ValueFormat& format, quint32 raw) {
    return valueWithUnit(format, RegisterType(), raw);
}

}  // namespace dx7
