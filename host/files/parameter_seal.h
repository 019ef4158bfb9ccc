/// \file
/// The last line of a parameter file, by which one that was cut or edited is known.
///
///     # end of dx7 parameters, format 2: 896 values, sha256 HEX
///
/// The checksum is that of every byte before its own first digit. For TOML the line is a comment.
/// Nothing is kept between calls.
#ifndef DX7_HOST_PARAMETER_SEAL_H
#define DX7_HOST_PARAMETER_SEAL_H

#include <QByteArray>
#include <QString>

namespace dx7 {

/// The text, which ends with a line break, and its last line.
QByteArray sealedParameters(const QByteArray& text, int count);

/// What a look at the last line found.
struct Seal {
    /// How many values the file had when it was saved.
    int count = 0;
    /// Why the text is not as it was saved; empty when it is.
    QString fault;
};

/// Looks at the last line of the text; a text without one has a fault, too.
Seal sealOf(const QByteArray& text);

}  // namespace dx7

#endif
