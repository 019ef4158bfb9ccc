/// \file
/// How the host library reports what went wrong: by exceptions that carry a sentence for the user.
#ifndef DX7_HOST_ERROR_H
#define DX7_HOST_ERROR_H

#include <QString>
#include <exception>
#include <utility>

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

/// The user asked for something that cannot be: nothing was sent. Programs end with exit code 2.
class UsageError : public Error {
public:
    using Error::Error;
};

/// The device or the line failed. Programs end with exit code 1.
class LineError : public Error {
public:
    using Error::Error;
};

}  // namespace dx7

#endif
