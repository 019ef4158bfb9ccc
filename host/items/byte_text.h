/// \file
/// Bytes as users type them: two hexadecimal digits each, "0x" and blanks as they like. Nothing is kept
/// between calls.
#ifndef DX7_HOST_BYTE_TEXT_H
#define DX7_HOST_BYTE_TEXT_H

#include <QByteArray>
#include <QStringList>

namespace dx7 {

/// The bytes of the words in their order: "03", "0x03", "03E3", "03 E3". Throws UsageError that names the
/// word that is none, and what is wrong with it.
QByteArray bytesFromWords(const QStringList& words);

}  // namespace dx7

#endif
