#include "host/files/parameter_seal.h"

#include <QCryptographicHash>
#include <QRegularExpression>

namespace dx7 {

namespace {

constexpr int FORMAT = 2;
constexpr int DIGITS = 64;

QByteArray checksum(const QByteArray& bytes) {
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

// From its first character to its line break.
QByteArray lastLine(const QByteArray& text) {
    return text.mid(text.lastIndexOf('\n', -2) + 1);
}

// The lines that give a parameter its value.
int valueLines(const QByteArray& text) {
    return text.count("\n\"") + (text.startsWith('"') ? 1 : 0);
}

}  // namespace

QByteArray sealedParameters(const QByteArray& text, int count) {
    const QByteArray begun = text + "# end of dx7 parameters, format " + QByteArray::number(FORMAT) + ": " +
                             QByteArray::number(count) + " values, sha256 ";
    return begun + checksum(begun) + '\n';
}

Seal sealOf(const QByteArray& text) {
    static const QRegularExpression form(
        QStringLiteral("\\A# end of dx7 parameters, format ([0-9]{1,9}): ([0-9]{1,9}) values, sha256 "
                       "([0-9a-f]{%1})\\n\\z")
            .arg(DIGITS));
    Seal seal;
    const auto found = form.match(QString::fromLatin1(lastLine(text)));
    if (!found.hasMatch()) {
        seal.fault = QStringLiteral(
            "its last line is not the checksum that a saved file ends with: it was cut or edited, or an "
            "earlier dx7 saved it");
        return seal;
    }
    seal.count = found.captured(2).toInt();
    if (checksum(text.left(text.size() - DIGITS - 1)) != found.captured(3).toLatin1()) {
        seal.fault = QStringLiteral(
                         "its content does not have the checksum of its last line: it was cut or edited; "
                         "saved with %1 values, it has %2 lines of values")
                         .arg(seal.count)
                         .arg(valueLines(text));
    } else if (found.captured(1).toInt() != FORMAT) {
        seal.fault =
            QStringLiteral("it is of format %1, this dx7 knows format %2").arg(found.captured(1)).arg(FORMAT);
    }
    return seal;
}

}  // namespace dx7
