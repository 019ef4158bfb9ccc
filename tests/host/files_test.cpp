// The files that the host reads and writes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "host/error.h"
#include "host/files/frame_text.h"
#include "host/files/line_file.h"
#include "host/files/parameter_file.h"
#include "host/files/recorder.h"
#include "host/files/recording.h"
#include "host/files/whole_file.h"
#include "host/items/number_ranges.h"
#include "loaded_driver.h"
#include "scripted_line.h"

using namespace dx7;

namespace {

class FilesTest : public testing::Test {
protected:
    QString path(const char* name) const { return folder.filePath(QString::fromLatin1(name)); }
    QString fileWith(const char* content) const {
        QFile file(path("file.toml"));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }
    // The place ("LINE:COLUMN") that a complaint names; the whole complaint when it names none.
    template <typename Action>
    std::string placeOf(const char* content, Action action) const {
        const QString file = fileWith(content);
        try {
            action(file);
        } catch (const UsageError& error) {
            const QString rest = error.text().startsWith(file + QLatin1Char(':'))
                                     ? error.text().mid(file.size() + 1)
                                     : error.text();
            return rest.section(QLatin1Char(':'), 0, 1).toStdString();
        }
        return "accepted";
    }

    QTemporaryDir folder;
};

TEST_F(FilesTest, ParametersComeBackAsTheyWereSaved) {
    ParameterSet set;
    set.station = 7;
    set.values[QStringLiteral("F")] = {{0, 5}, {55, 65535}, {193, 500}, {895, 1}};
    saveParameters(path("p.toml"), notation(), set, Existing::Refuse);
    const ParameterSet loaded = loadParameters(path("p.toml"), notation());
    EXPECT_EQ(loaded.station, 7);
    EXPECT_EQ(loaded.values, set.values);
}

TEST_F(FilesTest, FaultsOfParameterFilesAreNamedByPlace) {
    const auto load = [](const QString& file) { loadParameters(file, notation(), Altered::Accept); };
    EXPECT_EQ(placeOf("station = 1\n[F]\n\"0.0.00\" = 65536\n", load), "3:12");
    EXPECT_EQ(placeOf("station = 1\n[F]\n\"0.0.00\" = -1\n", load), "3:12");
    EXPECT_EQ(placeOf("[F]\n\"0.0.56\" = 1\n", load), "2:1");
    EXPECT_EQ(placeOf("[F]\n\"0.0.01\" = 1\n\"0.0.1\" = 2\n", load), "3:1");
    EXPECT_EQ(placeOf("[F]\n\"3O.0.24\" = 1\n", load), "2:1");
    EXPECT_EQ(placeOf("[F]\n\"10.0.00\" = 1\n", load), "2:1");
    EXPECT_EQ(placeOf("[MOD]\n\"01\" = 1\n", load), "2:1");
    EXPECT_EQ(placeOf("statoin = 1\n", load), "1:1");
    EXPECT_EQ(placeOf("station = 248\n", load), "1:11");
    EXPECT_EQ(placeOf("[AI]\n\"0\" = 1\n", load), "1:2");
    EXPECT_EQ(placeOf("[XX]\n\"0\" = 1\n", load), "1:2");
    EXPECT_EQ(placeOf("[F]\n\"0.0.00\" = 1\n", load), "accepted");
}

TEST_F(FilesTest, EveryParameterOfTheGroupsIsAsked) {
    const QVector<Point> points = parameterPoints(notation(), 3, {0, 2});
    ASSERT_EQ(points.size(), 112);
    EXPECT_EQ(points.first().notation(), QStringLiteral("F:0.0.00@3"));
    EXPECT_EQ(points.last().notation(), QStringLiteral("F:2.0.55@3"));
}

TEST_F(FilesTest, ALineFileSetsTheLineAndItsTags) {
    const QString file = fileWith(
        "[line]\ntcp = \"10.0.0.7:502\"\nbaud = 19200\nparity = \"even\"\nblock = 20\ngap = 5\n"
        "[[tag]]\nname = \"speed\"\ntype = \"AI\"\naddress = 0\nstation = 3\nformat = \"signed\"\nscale = "
        "0.1\n"
        "unit = \"Hz\"\n[[tag]]\nname = \"ramp\"\ntype = \"F\"\naddress = \"3.0.25\"\ncount = 2\n");
    LineSettings settings;
    LineFile(file).apply(settings);
    EXPECT_EQ(settings.carrier, Carrier::Tcp);
    EXPECT_EQ(settings.tcpPort, 502);
    EXPECT_EQ(settings.baud, 19200);
    EXPECT_EQ(settings.parity, Parity::Even);
    EXPECT_EQ(settings.block, 20);
    EXPECT_EQ(settings.gapMs, 5);
    QVector<Point> points;
    for (const LineTag& tag : LineFile(file).tags(notation())) {
        points += tag.points;
    }
    ASSERT_EQ(points.size(), 3);
    EXPECT_EQ(points[0].name, QStringLiteral("speed"));
    EXPECT_EQ(points[0].notation(), QStringLiteral("AI:0@3"));
    EXPECT_DOUBLE_EQ(points[0].format.scale, 0.1);
    EXPECT_EQ(points[2].name, QStringLiteral("ramp[1]"));
    EXPECT_EQ(points[2].notation(), QStringLiteral("F:3.0.26@1"));
}

// Files of earlier versions have a key that has no effect any more.
TEST_F(FilesTest, ALineFileMayHoldTheWindowForLateReplies) {
    LineSettings settings;
    LineFile(fileWith("[line]\ntcp = \"a\"\nlate = 700\ntimeout = 80\n")).apply(settings);
    EXPECT_EQ(settings.timeoutMs, 80);
    const auto load = [](const QString& file) {
        LineSettings taken;
        LineFile(file).apply(taken);
    };
    EXPECT_EQ(placeOf("[line]\nlate = \"long\"\n", load), "2:8");
}

TEST_F(FilesTest, ALineFileSaysWhetherTheAdapterEchoes) {
    const auto echoOf = [this](const char* content) {
        LineSettings settings;
        LineFile(fileWith(content)).apply(settings);
        return settings.echo;
    };
    EXPECT_EQ(echoOf("[line]\necho = \"on\"\n"), EchoMode::On);
    EXPECT_EQ(echoOf("[line]\necho = \"off\"\n"), EchoMode::Off);
    EXPECT_EQ(echoOf("[line]\necho = \"auto\"\n"), EchoMode::Auto);
    EXPECT_EQ(echoOf("[line]\nbaud = 9600\n"), EchoMode::Auto);
    const auto load = [](const QString& file) {
        LineSettings taken;
        LineFile(file).apply(taken);
    };
    EXPECT_EQ(placeOf("[line]\necho = \"yes\"\n", load), "2:8");
    EXPECT_EQ(placeOf("[line]\necho = true\n", load), "2:8");
}

TEST_F(FilesTest, ATagWithACountIsNamedAsAWholeAndByItsParts) {
    const QString file = fileWith(
        "[[tag]]\nname = \"out\"\ntype = \"DO\"\naddress = 1\ncount = 2\n"
        "[[tag]]\nname = \"one\"\ntype = \"DO\"\naddress = 1\n");
    const QVector<LineTag> tags = LineFile(file).tags(notation());
    ASSERT_EQ(tags.size(), 2);
    EXPECT_EQ(tags[0].name, QStringLiteral("out"));
    ASSERT_EQ(tags[0].points.size(), 2);
    EXPECT_EQ(tags[0].points[1].name, QStringLiteral("out[1]"));
    EXPECT_EQ(tags[1].points.first().name, QStringLiteral("one"));
}

TEST_F(FilesTest, FaultsOfLineFilesAreNamedByPlace) {
    const auto load = [](const QString& file) {
        LineSettings settings;
        LineFile(file).apply(settings);
        LineFile(file).tags(notation());
    };
    EXPECT_EQ(placeOf("[line]\nbuad = 9600\n", load), "2:1");
    EXPECT_EQ(placeOf("[line]\nbaud = \"fast\"\n", load), "2:8");
    EXPECT_EQ(placeOf("[line]\nserial = \"a\"\ntcp = \"b\"\n", load), "3:7");
    EXPECT_EQ(placeOf("[lien]\n", load), "1:2");
    EXPECT_EQ(placeOf("[line\n", load), "1:6");
    EXPECT_EQ(placeOf("[line]\nblock = 0\n", load), "2:9");
    EXPECT_EQ(placeOf("[[tag]]\nname = \"a\"\ntype = \"AI\"\naddress = 0\nuint = \"V\"\n", load), "5:1");
    EXPECT_EQ(placeOf("[[tag]]\nname = \"a\"\ntype = \"AI\"\naddress = 4\n", load), "4:11");
    EXPECT_EQ(placeOf("[[tag]]\ntype = \"AI\"\naddress = 0\n", load), "1:1");
    EXPECT_EQ(placeOf("[[tag]]\nname = \"a\"\ntype = \"F\"\naddress = \"3O.0.24\"\n", load), "4:11");
    EXPECT_EQ(placeOf("[[tag]]\nname = \"a\"\ntype = \"AI\"\naddress = \"00\"\n", load), "4:11");
    // A tag with a count and one without that bear the same name.
    EXPECT_EQ(placeOf("[[tag]]\nname = \"a\"\ntype = \"AI\"\naddress = 0\ncount = 2\n"
                      "[[tag]]\nname = \"a\"\ntype = \"AI\"\naddress = 3\n",
                      load),
              "6:1");
}

TEST_F(FilesTest, ARecordingHoldsWhatPassed) {
    const QByteArray request = framed(hex("01 03 F3 19 00 01"));
    QByteArray corrupt = framed(hex("01 03 02 01 F4"));
    corrupt[3] = 0x55;
    {
        Recorder recorder(path("r.pcap"));
        recorder.requestSent(request);
        recorder.frameReceived(corrupt);
        recorder.requestSent(framed(hex("01 07")));
        recorder.frameReceived(framed(hex("01 87 04")));
    }
    QVector<RecordedFrame> frames;
    RecordingReader reader(path("r.pcap"));
    for (RecordedFrame frame; reader.next(&frame);) {
        frames += frame;
    }
    EXPECT_EQ(reader.breaksOff(), QString());
    ASSERT_EQ(frames.size(), 4);
    EXPECT_TRUE(frames[0].request);
    EXPECT_EQ(frames[0].bytes, request);
    EXPECT_EQ(describeFrame(frames[0]),
              QStringLiteral("station 1 read holding registers: 0xF319, quantity 1"));
    EXPECT_FALSE(frames[1].request);
    EXPECT_EQ(describeFrame(frames[1], awaitedReply(request)), QStringLiteral("wrong CRC"));
    EXPECT_EQ(describeFrame(frames[1]), damageText(Damage::Noise, frames[1].bytes.size(), 0))
        << "nothing was asked";
    EXPECT_EQ(
        describeFrame(frames[3]),
        QStringLiteral("station 1 refuses to read exception status: exception 4 (server device failure)"));
    EXPECT_LE(frames[0].timeUs, frames[3].timeUs);
}

TEST_F(FilesTest, StatusQueriesAreDescribed) {
    const auto text = [](bool request, const char* bytes) {
        return describeFrame(RecordedFrame{0, request, framed(hex(bytes))}).toStdString();
    };
    EXPECT_EQ(text(true, "01 07"), "station 1 read exception status");
    EXPECT_EQ(text(false, "01 07 1F"), "station 1 read exception status: 0x1f");
    EXPECT_EQ(text(true, "02 08 00 00 CF 98"), "station 2 diagnostics: return query data 0xCF98");
    EXPECT_EQ(text(false, "02 08 00 00 CF 98"), "station 2 diagnostics: return query data 0xCF98");
    EXPECT_EQ(text(true, "02 08 00 0B 00 00"), "station 2 diagnostics: sub-function 11, 0x0000");
    EXPECT_EQ(text(true, "02 08"), "station 2 diagnostics");
    EXPECT_EQ(text(false, "02 88 01"), "station 2 refuses diagnostics: exception 1 (illegal function)");
}

TEST_F(FilesTest, WhatIsNoRecordingIsRefused) {
    EXPECT_THROW(RecordingReader(path("missing.pcap")), UsageError);
    EXPECT_THROW(RecordingReader(fileWith("this is not a capture file")), UsageError);
    EXPECT_THROW(Recorder(path("no/such/folder.pcap")), UsageError);
}

// In a folder like /tmp another user's file can be written, but not replaced.
TEST_F(FilesTest, AFileThatItsFolderHoldsIsRefusedBeforeAnythingIsRead) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can be two users";
    }
    const QString file = fileWith("another user's");
    const QByteArray sticky = QFile::encodeName(path(""));
    ASSERT_EQ(::chmod(QFile::encodeName(file).constData(), 0666), 0);
    ASSERT_EQ(::chmod(sticky.constData(), 01777), 0);
    ASSERT_EQ(::seteuid(65534), 0);
    QString fault;
    try {
        checkWholeFile(file, Existing::Keep);
    } catch (const UsageError& error) {
        fault = error.text();
    }
    const int back = ::seteuid(0);
    ASSERT_EQ(back, 0);
    EXPECT_TRUE(fault.contains(QStringLiteral("it belongs to another user"))) << fault.toStdString();
    EXPECT_EQ(QDir(path("")).entryList(QDir::Files | QDir::Hidden).size(), 1) << "nothing is left behind";
}

TEST(FrameText, ShortFramesAreDescribedWithoutReadingBeyondThem) {
    for (int length = 0; length < 12; ++length) {
        for (int function = 0; function < 256; ++function) {
            const QByteArray bytes =
                QByteArray(1, 1) + static_cast<char>(function) + QByteArray(length, 0x11);
            EXPECT_FALSE(describeFrame(RecordedFrame{0, true, framed(bytes)}).isEmpty());
            EXPECT_FALSE(describeFrame(RecordedFrame{0, false, framed(bytes)}).isEmpty());
        }
    }
}

TEST(NumberRanges, ListsAndRanges) {
    EXPECT_EQ(numbersFromText(QStringLiteral("1-3,9,2"), "--stations", 1, 247), (QVector<int>{1, 2, 3, 9}));
    for (const char* bad : {"",   "0",  "248",  "5-1",  "1-",  "-3",  "a",    "1,,2",   "1-2-3", "01", "+1",
                            " 1", "1 ", "1, 2", "1 -2", "1\n", "0x1", "1-05", "\u0661", "1.0",   "1O"}) {
        EXPECT_THROW(numbersFromText(QString::fromUtf8(bad), "--stations", 1, 247), UsageError) << bad;
    }
}

}  // namespace
