/// \file
/// How the host library reports what went wrong.
///
/// What the caller asked for wrongly, and what cannot go on, is an exception derived from Error, with a
/// sentence for the user and the reason of a failed system call in it. What happens on a line every day is a
/// result: a line that does not open or is lost (false; Line::failure() says why), a request without a good
/// reply (Outcome), a value in doubt (Quality). Code that exceptions must not pass, such as a helper thread
/// or what a C library calls, keeps its failure for the code that may throw.
///
/// Programs turn exceptions into exit codes; the library knows none.
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
    /// The same in UTF-8.
    const char* what() const noexcept override { return bytes_.constData(); }

private:
    QString text_;
    QByteArray bytes_;
};

/// The caller asked for something that cannot be: a text, file or setting is wrong, or is not there. Nothing
/// was begun.
class UsageError : public Error {
public:
    using Error::Error;
};

/// What was begun cannot go on: a line, a file, or something else of the system failed.
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
