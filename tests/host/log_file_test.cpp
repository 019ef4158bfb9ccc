#include "host/files/log_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <csignal>

#include "host/error.h"
#include "host/files/csv_row.h"
#include "host/files/wall_clock.h"

using namespace dx7;

namespace {

const QByteArray HEADER = "time,value,quality,fault";
// 2026-01-31T12:00:00.123Z
constexpr qint64 NOON = 1769860800123000;
constexpr qint64 SECOND = 1000000;

QByteArray rowAt(qint64 timeUs, const char* value = "1") {
    return csvRow({isoUtcTime(timeUs), QString::fromLatin1(value), QStringLiteral("good"), QString()});
}

class LogFileTest : public testing::Test {
protected:
    QString path(const char* name = "log.csv") const { return folder.filePath(QString::fromLatin1(name)); }
    void write(const QByteArray& content, const char* name = "log.csv") const {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    QByteArray read(const QString& name) const {
        QFile file(folder.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not there");
    }
    QByteArray read() const { return read(QStringLiteral("log.csv")); }
    QStringList names() const { return QDir(folder.path()).entryList(QDir::Files, QDir::Name); }
    // What the log says when it is opened: an error, a notice, or nothing.
    QString said() const {
        try {
            return LogFile(path(), HEADER, {}).notice();
        } catch (const Error& error) {
            return error.text();
        }
    }

    QTemporaryDir folder;
};

TEST(CsvRow, QuotesWhatNeedsIt) {
    EXPECT_EQ(csvRow({QStringLiteral("a"), QString(), QStringLiteral("b c")}), "a,,b c");
    EXPECT_EQ(csvRow({QStringLiteral("a,b"), QStringLiteral("say \"x\""), QStringLiteral("1\n2")}),
              "\"a,b\",\"say \"\"x\"\"\",\"1\n2\"");
    EXPECT_EQ(csvRow({QString::fromUtf8("°C")}),
              "\xC2\xB0"
              "C");
}

TEST(CsvRow, FieldsComeBack) {
    const QStringList fields{QStringLiteral("a,\"b\""), QString(), QStringLiteral("\""), QStringLiteral("c")};
    EXPECT_EQ(csvFields(csvRow(fields)), fields);
    EXPECT_TRUE(csvFields("a,\"cut").isEmpty());
}

TEST_F(LogFileTest, BeginsWithTheHeader) {
    LogFile log(path(), HEADER, {});
    EXPECT_EQ(read(), HEADER + "\n");
    log.add(rowAt(NOON), NOON);
    EXPECT_EQ(read(), HEADER + "\n") << "a row is there with flush()";
    log.flush();
    EXPECT_EQ(read(), HEADER + "\n2026-01-31T12:00:00.123Z,1,good,\n");
    log.close();
}

TEST_F(LogFileTest, AppendsToOneWithTheSameHeader) {
    for (const char* value : {"1", "2"}) {
        LogFile log(path(), HEADER, {});
        log.add(rowAt(NOON, value), NOON);
        log.close();
    }
    EXPECT_EQ(read(), HEADER + "\n" + rowAt(NOON, "1") + "\n" + rowAt(NOON, "2") + "\n");
}

TEST_F(LogFileTest, KeepsTheLineBreaksOfTheFile) {
    write(HEADER + "\r\n");
    LogFile log(path(), HEADER, {});
    log.add(rowAt(NOON), NOON);
    log.close();
    EXPECT_EQ(read(), HEADER + "\r\n" + rowAt(NOON) + "\r\n");
}

TEST_F(LogFileTest, CompletesAHeaderWithoutItsLineBreak) {
    write(HEADER);
    LogFile log(path(), HEADER, {});
    log.close();
    EXPECT_EQ(read(), HEADER + "\n");
}

TEST_F(LogFileTest, RefusesEverythingElseAndLeavesItAlone) {
    for (const QByteArray& content :
         {QByteArray("time,value\n1,2\n"), HEADER + ",more\n", HEADER + "x", HEADER.left(5), QByteArray("\n"),
          "\xEF\xBB\xBF" + HEADER + "\n", " " + HEADER + "\n"}) {
        write(content);
        EXPECT_TRUE(said().contains(QStringLiteral("cannot be written: it begins with"))) << content.data();
        EXPECT_EQ(read(), content);
    }
}

TEST_F(LogFileTest, RefusesWhatIsNoFile) {
    ASSERT_EQ(::mkfifo(path("pipe").toLocal8Bit().constData(), 0600), 0);
    EXPECT_THROW(LogFile(path("pipe"), HEADER, {}), UsageError);
    EXPECT_THROW(LogFile(folder.path(), HEADER, {}), UsageError);
    EXPECT_THROW(LogFile(path("no/log.csv"), HEADER, {}), UsageError);
    ASSERT_TRUE(QFile::link(path("circle"), path("circle")));
    EXPECT_THROW(LogFile(path("circle"), HEADER, {}), UsageError);
}

TEST_F(LogFileTest, OneLogHasOneWriter) {
    const LogFile log(path(), HEADER, {});
    EXPECT_TRUE(said().contains(QStringLiteral("another dx7 writes it")));
}

TEST_F(LogFileTest, ARowThatWasCutIsRemovedAndSaid) {
    const QByteArray whole = HEADER + "\n" + rowAt(NOON) + "\n";
    for (const QByteArray& cut : {QByteArray("2026"), rowAt(NOON).left(20), QByteArray("2026,\"a,b,good,"),
                                  QByteArray("2026,,bad,no re"), QByteArray("\0\0\0\0", 4)}) {
        write(whole + cut);
        EXPECT_TRUE(said().startsWith(QStringLiteral("the last row of %1 was cut short").arg(path())));
        EXPECT_EQ(read(), whole);
    }
}

TEST_F(LogFileTest, AWholeLastRowWithoutItsLineBreakStays) {
    write(HEADER + "\n" + rowAt(NOON));
    LogFile log(path(), HEADER, {});
    EXPECT_TRUE(log.notice().isEmpty());
    log.add(rowAt(NOON + SECOND), NOON + SECOND);
    log.close();
    EXPECT_EQ(read(), HEADER + "\n" + rowAt(NOON) + "\n" + rowAt(NOON + SECOND) + "\n");
}

TEST_F(LogFileTest, ALogOfOtherBytesIsRefused) {
    write(HEADER + "\n" + QByteArray(100000, 'x'));
    EXPECT_TRUE(said().contains(QStringLiteral("are not rows of a log")));
}

TEST_F(LogFileTest, RotatesBySizeAndLosesNothing) {
    LogRotation rotation = logRotation(QStringLiteral("1kB"), "--log-rotate");
    QByteArrayList written;
    {
        LogFile log(path(), HEADER, rotation);
        for (int i = 0; i < 100; ++i) {
            written += rowAt(NOON + i * SECOND, QByteArray::number(i).constData());
            log.add(written.last(), NOON + i * SECOND);
        }
        log.close();
    }
    QByteArrayList found;
    ASSERT_GT(names().size(), 3);
    EXPECT_EQ(names().first(), QStringLiteral("log-20260131T120000.123Z.csv"));
    for (const QString& name : names()) {
        const QByteArray content = read(name);
        EXPECT_LE(content.size(), 1000);
        QByteArrayList rows = content.split('\n');
        EXPECT_EQ(rows.takeFirst(), HEADER);
        EXPECT_EQ(rows.takeLast(), "");
        found += rows;
    }
    EXPECT_EQ(found, written) << "in the order of the names";
}

TEST_F(LogFileTest, RotatesAtMultiplesOfATime) {
    const LogRotation rotation = logRotation(QStringLiteral("1h"), "--log-rotate");
    const qint64 hour = 3600 * SECOND;
    for (const qint64 timeUs : {NOON, NOON + hour / 2, NOON + hour, NOON + hour + 1}) {
        // Each time by another program.
        LogFile log(path(), HEADER, rotation);
        log.add(rowAt(timeUs), timeUs);
        log.close();
    }
    EXPECT_EQ(names(),
              (QStringList{QStringLiteral("log-20260131T120000.123Z.csv"), QStringLiteral("log.csv")}));
    EXPECT_EQ(read().count('\n'), 3);
}

TEST_F(LogFileTest, NeverReplacesAFileAndKeepsTheNewest) {
    write("mine", "log-20260131T120000.123Z.csv");
    write("other", "log-20260131T120000.csv");
    LogRotation rotation;
    rotation.mostBytes = 80;
    LogFile log(path(), HEADER, rotation);
    for (int i = 0; i < 4; ++i) {
        log.add(rowAt(NOON), NOON);
    }
    log.flush();
    EXPECT_EQ(read(QStringLiteral("log-20260131T120000.123Z.csv")), "mine");
    EXPECT_EQ(names().size(), 6);
    rotation.keep = 2;
    log.close();
    LogFile keeping(path(), HEADER, rotation);
    keeping.add(rowAt(NOON), NOON);
    keeping.add(rowAt(NOON), NOON);
    keeping.close();
    // As after a clock that was set back, the newest has the oldest name.
    EXPECT_EQ(names(), (QStringList{QStringLiteral("log-20260131T120000.123Z.csv"),
                                    QStringLiteral("log-20260131T120000.127Z.csv"),
                                    QStringLiteral("log-20260131T120000.csv"), QStringLiteral("log.csv")}));
}

TEST_F(LogFileTest, AFileThatIsRenamedKeepsItsRowsAndANewOneBegins) {
    LogFile log(path(), HEADER, {});
    log.add(rowAt(NOON, "1"), NOON);
    log.flush();
    ASSERT_TRUE(QFile::rename(path(), path("moved.csv")));
    log.add(rowAt(NOON, "2"), NOON);
    log.flush();
    log.close();
    EXPECT_EQ(read(QStringLiteral("moved.csv")), HEADER + "\n" + rowAt(NOON, "1") + "\n");
    EXPECT_EQ(read(), HEADER + "\n" + rowAt(NOON, "2") + "\n");
}

TEST_F(LogFileTest, ASymbolicLinkStays) {
    ASSERT_TRUE(QFile::link(path("target.csv"), path()));
    LogRotation rotation;
    rotation.mostBytes = 80;
    LogFile log(path(), HEADER, rotation);
    log.add(rowAt(NOON), NOON);
    log.add(rowAt(NOON), NOON);
    log.close();
    EXPECT_TRUE(QFileInfo(path()).isSymLink());
    EXPECT_TRUE(names().contains(QStringLiteral("target-20260131T120000.123Z.csv")));
}

// A disk that is full in the middle of a row.
TEST_F(LogFileTest, OnAFullDiskTheRowsAreWhole) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit limit = before;
    limit.rlim_cur = 100;
    LogFile log(path(), HEADER, {});
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    log.add(rowAt(NOON, "1"), NOON);
    log.flush();
    const QByteArray whole = read();
    log.add(rowAt(NOON, "2"), NOON);
    log.add(rowAt(NOON, "3"), NOON);
    try {
        log.flush();
        ADD_FAILURE() << "the disk was full";
    } catch (const LineError& error) {
        EXPECT_TRUE(error.text().contains(QStringLiteral("cannot be written any more: "))) << error.what();
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(read(), whole);
}

TEST_F(LogFileTest, AFullDiskAtTheStartIsSaid) {
    EXPECT_THROW(LogFile(QStringLiteral("/dev/full"), HEADER, {}), LineError);
}

TEST_F(LogFileTest, TakesSizesAndTimesForTheRotation) {
    const auto rotation = [](const char* text) {
        return logRotation(QString::fromLatin1(text), "--log-rotate");
    };
    EXPECT_EQ(rotation("1kB").mostBytes, 1000);
    EXPECT_EQ(rotation("1.5MB").mostBytes, 1500000);
    EXPECT_EQ(rotation("2GB").mostBytes, 2000000000);
    EXPECT_EQ(rotation("24h").periodUs, 86400 * SECOND);
    EXPECT_FALSE(rotation("24h").mostBytes);
    for (const char* text :
         {"", "10", "0kB", "0.5kB", "-1MB", "1e99GB", "100ms", "1d", "1 MB", "MB", "1mb"}) {
        EXPECT_THROW(rotation(text), UsageError) << text;
    }
}

}  // namespace
