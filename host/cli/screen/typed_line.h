/// \file
/// A line as it is typed on a terminal, which sends the bytes of a character one by one.
#ifndef DX7_CLI_TYPED_LINE_H
#define DX7_CLI_TYPED_LINE_H

#include <QByteArray>
#include <QString>

namespace dx7::cli {

/// Bytes become characters of the locale as soon as they are whole; what is none is the replacement
/// character, which nothing that is typed is made of. One thread at a time.
class TypedLine {
public:
    void clear() { bytes_.clear(); }
    /// Takes a byte, 0 to 255. A control character becomes a replacement character: what would be left
    /// without it is not what was typed.
    void take(int byte);
    /// Takes the last character away.
    void erase();
    QString text() const { return QString::fromLocal8Bit(bytes_); }

private:
    QByteArray bytes_;
};

}  // namespace dx7::cli

#endif
