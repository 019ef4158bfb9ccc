#include "host/files/csv_row.h"

#include <QVector>

namespace dx7 {

namespace {

QString quotedField(const QString& field) {
    QString text = field;
    text.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

bool needsQuotes(const QString& field) {
    for (const QChar character : field) {
        if (QStringLiteral(",\"\r\n").contains(character)) {
            return true;
        }
    }
    return false;
}

}  // namespace

QByteArray csvRow(const QStringList& fields) {
    QString row;
    for (int i = 0; i < fields.size(); ++i) {
        row += i > 0 ? QStringLiteral(",") : QString();
        row += needsQuotes(fields.at(i)) ? quotedField(fields.at(i)) : fields.at(i);
    }
    return row.toUtf8();
}

QStringList csvFields(const QByteArray& row) {
    QStringList fields{QString()};
    bool quoted = false;
    const QString text = QString::fromUtf8(row);
    for (int i = 0; i < text.size(); ++i) {
        const QChar character = text.at(i);
        if (character == QLatin1Char('"')) {
            // Two of them inside a quoted field are one.
            const bool doubled = quoted && i + 1 < text.size() && text.at(i + 1) == character;
            fields.last() += doubled ? QString(character) : QString();
            i += doubled ? 1 : 0;
            quoted = doubled == quoted;
        } else if (character == QLatin1Char(',') && !quoted) {
            fields += QString();
        } else {
            fields.last() += character;
        }
    }
    return quoted ? QStringList() : fields;
}

}  // namespace dx7
