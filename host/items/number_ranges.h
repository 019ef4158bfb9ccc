/// \file
/// Lists of numbers as people write them. Nothing is kept between calls.
#ifndef DX7_HOST_NUMBER_RANGES_H
#define DX7_HOST_NUMBER_RANGES_H

#include <QString>
#include <QVector>

namespace dx7 {

/// The numbers of "1-5,9,12-14", ascending, each once: plainNumber() in ASCII digits and nothing else. Throws
/// UsageError, naming `what`, when the text is malformed or a number is outside `lowest` to `highest`.
QVector<int> numbersFromText(const QString& text, const char* what, int lowest, int highest);

}  // namespace dx7

#endif
