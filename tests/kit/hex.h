/// \file
/// Bytes as people write them.
#ifndef DX7_TESTS_KIT_HEX_H
#define DX7_TESTS_KIT_HEX_H

#include <QByteArray>

namespace kit {

/// Bytes from "01 03 02".
inline QByteArray hex(const QByteArray& text) {
    return QByteArray::fromHex(text);
}

}  // namespace kit

#endif
