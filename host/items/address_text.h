/// \file
/// The address that was meant by a text which is not a valid one. Nothing is kept between calls. One thread
/// at a time.
#ifndef DX7_HOST_ADDRESS_TEXT_H
#define DX7_HOST_ADDRESS_TEXT_H

#include <QStringList>

#include "host/driver/register_type.h"

namespace dx7 {

/// The address text of the type that comes nearest to what was typed, by its meaning where it has one, else
/// by its letters: always one that RegisterType::addressText() gives for an address in the type's own range.
/// Null for a text that resembles none.
QString nearestAddress(const RegisterType& type, const QString& typed);

/// The name among `names` that differs least from what was typed; null when none resembles it.
QString nearestName(const QStringList& names, const QString& typed);

}  // namespace dx7

#endif
