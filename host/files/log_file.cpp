#include "host/files/log_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cerrno>

#include "host/duration_text.h"
#include "host/error.h"
#include "host/files/csv_row.h"
#include "host/files/durable_file.h"
#include "host/files/wall_clock.h"
#include "host/number_text.h"

namespace dx7 {

namespace {

constexpr mode_t LOG_MODE = 0666;
constexpr qint64 LEAST_BYTES = 1000;
constexpr qint64 LEAST_PERIOD_US = 1000000;
constexpr int LONGEST_ROW = 65536;
constexpr int SHOWN_CHARACTERS = 60;
constexpr int MOST_OPENINGS = 10;
constexpr qint64 MS_US = 1000;
constexpr int NAME_TIME_CHARACTERS = 20;

struct SizeUnit {
    const char* name;
    qint64 bytes;
};
constexpr SizeUnit SIZE_UNITS[] = {{"kB", 1000}, {"MB", 1000000}, {"GB", 1000000000}};

// The bytes of a text that has a unit of size, if it is one.
std::optional<double> sizeOf(const QString& text) {
    for (const SizeUnit& unit : SIZE_UNITS) {
        if (text.endsWith(QLatin1String(unit.name))) {
            const auto number = decimalFraction(text.left(text.size() - 2));
            return number ? std::optional<double>(*number * static_cast<double>(unit.bytes)) : std::nullopt;
        }
    }
    return std::nullopt;
}

// A row is whole with all its fields, where the last two do not contradict each other: only a good reading
// has no fault.
bool looksWhole(const QByteArray& row, const QByteArray& header) {
    const QStringList fields = csvFields(row);
    return fields.size() == csvFields(header).size() && fields.last().isEmpty() &&
           fields.at(fields.size() - 2) == QLatin1String("good");
}

QByteArray firstField(const QByteArray& row) {
    return row.left(row.indexOf(','));
}

std::optional<qint64> timeOf(const QByteArray& row) {
    const QDateTime time = QDateTime::fromString(QString::fromUtf8(firstField(row)), Qt::ISODateWithMs);
    return time.isValid() ? std::optional<qint64>(time.toMSecsSinceEpoch() * MS_US) : std::nullopt;
}

// The time as names have it: "20260131T120000.123Z".
QString nameTime(qint64 timeUs) {
    return isoUtcTime(timeUs).remove(QLatin1Char('-')).remove(QLatin1Char(':'));
}

bool isNameTime(const QString& text) {
    const QString form = QStringLiteral("00000000T000000.000Z");
    for (int i = 0; i < form.size(); ++i) {
        const bool digit = form.at(i) == QLatin1Char('0');
        const QChar given = i < text.size() ? text.at(i) : QChar();
        if (digit ? given < QLatin1Char('0') || given > QLatin1Char('9') : given != form.at(i)) {
            return false;
        }
    }
    return text.size() == form.size();
}

// The bytes of a file from `offset` on.
QByteArray bytesAt(int descriptor, qint64 offset, qint64 count) {
    QByteArray bytes(static_cast<int>(count), '\0');
    const ssize_t read = ::pread(descriptor, bytes.data(), static_cast<size_t>(count), offset);
    bytes.truncate(static_cast<int>(std::max<ssize_t>(read, 0)));
    return bytes;
}

// The path of "log.csv" as "log-TIME.csv".
QByteArray asideName(const QByteArray& path, const QString& time) {
    const int slash = path.lastIndexOf('/');
    const int dot = path.lastIndexOf('.');
    const int end = dot > slash + 1 ? dot : path.size();
    return path.left(end) + '-' + time.toLatin1() + path.mid(end);
}

}  // namespace

LogRotation logRotation(const QString& text, const char* what) {
    LogRotation rotation;
    const std::optional<double> bytes = sizeOf(text);
    if (!bytes) {
        try {
            rotation.periodUs = durationUs(text, what, LEAST_PERIOD_US);
        } catch (const UsageError&) {
            throw UsageError(
                QStringLiteral("%1 is \"%2\", write a size of 1kB at least (500kB, 10MB, 1GB) or a "
                               "time of 1s at least (10min, 1h, 24h)")
                    .arg(QLatin1String(what), text));
        }
        return rotation;
    }
    if (!(*bytes >= static_cast<double>(LEAST_BYTES) && *bytes <= 1e18)) {
        throw UsageError(
            QStringLiteral("%1 is %2, it must be 1kB to 1000000000GB").arg(QLatin1String(what), text));
    }
    rotation.mostBytes = static_cast<qint64>(*bytes);
    return rotation;
}

LogFile::LogFile(const QString& path, const QByteArray& header, const LogRotation& rotation)
    : name_(path), path_(followLinks(QFile::encodeName(path))), header_(header), rotation_(rotation) {
    if (path_.isEmpty()) {
        refuse(systemReason(ELOOP));
    }
    open();
}

void LogFile::refuse(const QString& why) const {
    throw UsageError(QStringLiteral("the log %1 cannot be written: %2").arg(name_, why));
}

void LogFile::fail(const QString& what, int error) const {
    throw LineError(QStringLiteral("the log %1 %2: %3").arg(name_, what, systemReason(error)));
}

// The lock would last as long as the descriptor that is being synchronised.
void LogFile::letGo() {
    if (file_.isOpen()) {
        ::flock(file_.number(), LOCK_UN);
    }
    sync_.closed();
}

void LogFile::open() {
    for (int i = 0; i < MOST_OPENINGS; ++i) {
        letGo();
        if (!file_.open(path_, O_RDWR | O_CREAT | O_APPEND | O_NOCTTY | O_NONBLOCK, LOG_MODE)) {
            refuse(systemReason(errno));
        }
        struct stat status = {};
        if (::fstat(file_.number(), &status) != 0) {
            refuse(systemReason(errno));
        }
        regular_ = S_ISREG(status.st_mode);
        if (!regular_ && !S_ISCHR(status.st_mode)) {
            refuse(QStringLiteral("it is not a file"));
        }
        // Not every file system has locks.
        if (regular_ && ::flock(file_.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            refuse(QStringLiteral("another dx7 writes it, name another file"));
        }
        if (isInPlace()) {
            ::fcntl(file_.number(), F_SETFL, O_RDWR | O_APPEND);
            bytes_ = 0;
            firstUs_.reset();
            newestUs_.reset();
            hasRows_ = false;
            if (regular_ && status.st_size > 0) {
                readExisting(status.st_size);
            } else {
                begin();
            }
            return;
        }
    }
    refuse(QStringLiteral("it is renamed again and again"));
}

// Whether the file that is open has the name still.
bool LogFile::isInPlace() const {
    struct stat opened = {};
    struct stat named = {};
    return !regular_ || (::fstat(file_.number(), &opened) == 0 && ::stat(path_.constData(), &named) == 0 &&
                         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino);
}

void LogFile::begin() {
    lineBreak_ = "\n";
    const QByteArray waiting = rows_;
    rows_ = header_ + lineBreak_;
    writeRows();
    rows_ = waiting;
}

void LogFile::readExisting(qint64 size) {
    const QByteArray start = bytesAt(file_.number(), 0, header_.size() + 2);
    const QByteArray after = start.mid(header_.size());
    if (!start.startsWith(header_) || !(after.isEmpty() || after.at(0) == '\n' || after == "\r\n")) {
        const QByteArray found = bytesAt(file_.number(), 0, SHOWN_CHARACTERS).split('\n').first();
        refuse(QStringLiteral("it begins with \"%1\", a log begins with \"%2\"; name another file")
                   .arg(QString::fromUtf8(found), QString::fromUtf8(header_)));
    }
    lineBreak_ = after == "\r\n" ? "\r\n" : "\n";
    bytes_ = size;
    if (after.isEmpty()) {
        const QByteArray waiting = rows_;
        rows_ = lineBreak_;
        writeRows();
        rows_ = waiting;
        return;
    }
    readLastRow(size);
}

void LogFile::readLastRow(qint64 size) {
    const qint64 rowsAt = header_.size() + lineBreak_.size();
    const qint64 from = std::max(rowsAt, size - LONGEST_ROW);
    QByteArray tail = bytesAt(file_.number(), from, size - from);
    const int end = tail.lastIndexOf('\n') + 1;
    if (end == 0 && from > rowsAt) {
        refuse(QStringLiteral("its last %1 bytes are not rows of a log").arg(LONGEST_ROW));
    }
    const QByteArray cut = tail.mid(end);
    if (!cut.isEmpty() && looksWhole(cut, header_)) {
        rows_.prepend(lineBreak_);
    } else if (!cut.isEmpty()) {
        bytes_ = from + end;
        if (::ftruncate(file_.number(), static_cast<off_t>(bytes_)) != 0) {
            refuse(systemReason(errno));
        }
        notice_ = QStringLiteral("the last row of %1 was cut short; what there was of it is removed: %2")
                      .arg(name_, QString::fromUtf8(cut.left(SHOWN_CHARACTERS)));
        tail.truncate(end);
    }
    hasRows_ = bytes_ > rowsAt;
    firstUs_ = timeOf(bytesAt(file_.number(), rowsAt, SHOWN_CHARACTERS));
    const QByteArray rows = tail.trimmed();
    newestUs_ = timeOf(rows.mid(rows.lastIndexOf('\n') + 1));
}

bool LogFile::full(const QByteArray& row, qint64 timeUs) const {
    if (!regular_ || !hasRows_) {
        return false;
    }
    const qint64 bytes = bytes_ + rows_.size() + row.size() + lineBreak_.size();
    const bool large = rotation_.mostBytes && bytes > *rotation_.mostBytes;
    return large || (rotation_.periodUs && newestUs_ &&
                     timeUs / *rotation_.periodUs > *newestUs_ / *rotation_.periodUs);
}

void LogFile::add(const QByteArray& row, qint64 timeUs) {
    if (full(row, timeUs)) {
        flush();
        rotate();
    }
    if (!hasRows_) {
        hasRows_ = true;
        firstUs_ = timeUs;
    }
    newestUs_ = std::max(newestUs_.value_or(timeUs), timeUs);
    rows_ += row + lineBreak_;
}

void LogFile::rotate() {
    qint64 timeUs = firstUs_.value_or(wallTimeUs());
    QByteArray aside = asideName(path_, nameTime(timeUs));
    while (!renameToNew(path_, aside)) {
        if (errno != EEXIST) {
            fail(QStringLiteral("is full and cannot be put aside"), errno);
        }
        timeUs += MS_US;
        aside = asideName(path_, nameTime(timeUs));
    }
    removeOldest(aside);
    try {
        open();
    } catch (const UsageError& error) {
        throw LineError(error.text());
    }
}

// A clock that was set back gives the newest one an older name.
void LogFile::removeOldest(const QByteArray& newest) const {
    if (!rotation_.keep) {
        return;
    }
    const QDir folder(QFile::decodeName(folderOf(path_)));
    const QString own = QFileInfo(QFile::decodeName(path_)).fileName();
    QStringList aside;
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden, QDir::Name)) {
        const int at = own.lastIndexOf(QLatin1Char('.')) > 0 ? own.lastIndexOf(QLatin1Char('.')) : own.size();
        const QString time = name.mid(at + 1, NAME_TIME_CHARACTERS);
        const QByteArray bytes = QFile::encodeName(name);
        const bool likeIt = bytes == asideName(QFile::encodeName(own), time);
        if (isNameTime(time) && likeIt && bytes != newest.mid(newest.lastIndexOf('/') + 1)) {
            aside += name;
        }
    }
    while (!aside.isEmpty() && aside.size() >= *rotation_.keep) {
        QFile::remove(folder.filePath(aside.takeFirst()));
    }
}

void LogFile::writeRows() {
    if (rows_.isEmpty()) {
        return;
    }
    const QByteArray rows = std::exchange(rows_, QByteArray());
    if (!writeBytes(file_.number(), rows.constData(), static_cast<size_t>(rows.size()))) {
        const int error = errno;
        // Where that fails, too, the file ends in the middle of a row, and the next run says so.
        const off_t whole = static_cast<off_t>(bytes_);
        static_cast<void>(regular_ && ::ftruncate(file_.number(), whole) == 0);
        fail(QStringLiteral("cannot be written any more"), error);
    }
    bytes_ += rows.size();
    if (regular_) {
        sync_.wrote(file_.number());
    }
}

void LogFile::flush() {
    if (!rows_.isEmpty() && !isInPlace()) {
        try {
            open();
        } catch (const UsageError& error) {
            throw LineError(error.text());
        }
    }
    writeRows();
    if (const int error = sync_.failure()) {
        fail(QStringLiteral("may be incomplete"), error);
    }
}

void LogFile::close() {
    flush();
    if (regular_ && (!syncFile(file_.number()) || !syncFolderOf(path_))) {
        fail(QStringLiteral("may be incomplete"), errno);
    }
    letGo();
    if (!file_.close()) {
        fail(QStringLiteral("may be incomplete"), errno);
    }
}

}  // namespace dx7
