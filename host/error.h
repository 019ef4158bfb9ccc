/// \file
/// How the host library reports what went wrong: by exceptions that carry a sentence for the user, with the
/// reason of a failed system call in it.
#ifndef DX7_HOST_ERROR_H
#define DX7_HOST_ERROR_H

#include <QString>
#include <exception>
#include <utility>

#include "common/system_reason.h"

namespace dx7 {

/// A failure with a sentence that says what was wrong, with what value, and what to do.
class Error : public std::exception {
public:
    explicit Error(const QString& text) : text_(text), bytes_(text.toUtf8()) {}
    const QString& text() const { return text_; }
    const char* what() const noexcept override { return bytes_.constData(); }

private:
    QString text_;
    QByteArray bytes_;
};

/// The user asked for something that cannot be: nothing was sent.
class UsageError : public Error {
public:
    using Error::Error;
};

/// The device or the line failed.
class LineError : public Error {
public:
    using Error::Error;
};

/// What dx7common::systemReason() says of the error number. Never null.
inline QString systemReason(int error) {
    return QString::fromLocal8Bit(dx7common::systemReason(error).c_str());
}

}  // namespace dx7

#endif
