/// \file
/// Texts between the model and the driver, and as they are printed.
#ifndef DX7_TESTS_MODEL_TEXTS_H
#define DX7_TESTS_MODEL_TEXTS_H

#include <QtCore/QString>
#include <string>

#include "model.h"

namespace differential {

inline QString toQString(const model::Text& text) {
    return QString(reinterpret_cast<const QChar*>(text.data()), static_cast<int>(text.size()));
}

inline model::Text toText(const QString& text) {
    return model::Text(reinterpret_cast<const char16_t*>(text.constData()),
                       static_cast<std::size_t>(text.size()));
}

/// Quoted; what is not printable ASCII as \u and four hexadecimal digits.
std::string quoted(const model::Text& text);

}  // namespace differential

#endif
