#include "host/cli/screen/typed_line.h"

namespace dx7::cli {

namespace {

constexpr int RUBOUT = 127;

}  // namespace

void TypedLine::take(int byte) {
    if (byte < ' ' || byte == RUBOUT) {
        bytes_ += QString(QChar::ReplacementCharacter).toLocal8Bit();
    } else {
        bytes_ += static_cast<char>(byte);
    }
}

void TypedLine::erase() {
    QString shown = text();
    // Of two that make one character the second is the low one.
    const bool pair = !shown.isEmpty() && shown.at(shown.size() - 1).isLowSurrogate();
    shown.chop(pair ? 2 : 1);
    bytes_ = shown.toLocal8Bit();
}

}  // namespace dx7::cli
