// Every command of dx7 against dx7-device on a pseudo-terminal.
#include "tool.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace {

QString latin(const char* text) {
    return QString::fromLatin1(text);
}

QStringList words(const char* text) {
    return latin(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QJsonObject json(const QString& line) {
    return QJsonDocument::fromJson(line.toUtf8()).object();
}

TEST_F(ToolTest, ReadShowsValuesInTheirFormats) {
    startDevice();
    ASSERT_EQ(tool("write F:0.0.10,2=65535,258 DO:2=1").exitCode, 0);
    const ToolRun run = tool("read F:0.0.10,2 F:0.0.10/s32 F:0.0.11/hex F:0.0.11/scale=0.5/unit=V DO:1,2");
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(run.output,
              latin("F:0.0.10@1 = 65535\nF:0.0.11@1 = 258\nF:0.0.10@1 = -65278\nF:0.0.11@1 = 0x0102\n"
                    "F:0.0.11@1 = 129.0 V\nDO:1@1 = 0\nDO:2@1 = 1\n"));
}

TEST_F(ToolTest, ReadNamesWhatFailsAndShowsTheRest) {
    startDevice();
    const ToolRun run = tool("read F:0.0.00 F:10.0.00 AI:0@9 --timeout 50 --retries 1");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.lines().size(), 1);
    EXPECT_TRUE(
        run.errors.contains(latin("dx7: F:10.0.00@1 could not be read: exception 2 (illegal data address)")));
    EXPECT_TRUE(run.errors.startsWith(
        latin("dx7: warning: F:10.0.00@1 is beyond the end of F, which has 0.0.00 to F.0.55\n")));
    EXPECT_TRUE(run.errors.contains(latin("dx7: AI:0@9 could not be read: no reply")));
}

TEST_F(ToolTest, WriteVerifiesEveryWritableType) {
    startDevice();
    const ToolRun run =
        tool("write --verify CW_bit:3=1 DO:1=on RO:1=1 SDO:2,3=1,0,1 CW:0=0x047F F:0.0.08,4=1,2,3,4");
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(run.lines().size(), 6);
    EXPECT_TRUE(run.lines().last().contains(latin("F:0.0.08,4@1 = 1,2,3,4 written and verified")));
}

// CW_bit:3 is a bit of CW:0, and the last F:0.0.10 is that of the run before: each was as written when it was
// read back.
TEST_F(ToolTest, WhatTheNextWriteChangesIsVerifiedBeforeIt) {
    startDevice();
    const ToolRun alias = tool("write --verify CW:0=1 CW_bit:3=1 CW:0=0x10 CW_bit:3=0");
    EXPECT_EQ(alias.exitCode, 0) << alias.errors.toStdString();
    EXPECT_EQ(alias.output, latin("CW:0@1 = 1 written and verified\nCW_bit:3@1 = 1 written and verified\n"
                                  "CW:0@1 = 16 written and verified\nCW_bit:3@1 = 0 written and verified\n"));
    const ToolRun twice = tool("write --verify F:0.0.08,3=1,2,3 F:0.0.10=7 F:0.0.10=8");
    EXPECT_EQ(twice.exitCode, 0) << twice.errors.toStdString();
    EXPECT_EQ(tool("read F:0.0.08,3 CW:0").output,
              latin("F:0.0.08@1 = 1\nF:0.0.09@1 = 2\nF:0.0.10@1 = 8\nCW:0@1 = 16\n"));
}

TEST_F(ToolTest, WriteToASilentStationFails) {
    startDevice();
    const ToolRun run = tool("write F:0.0.00@5=1 --timeout 50");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.errors,
              latin("dx7: F:0.0.00@5 = 1 failed: no reply; it is unknown whether the station carried it "
                    "out: read it back\n"));
}

TEST_F(ToolTest, MonitorShowsChangesAndASummary) {
    startDevice();
    const ToolRun run = tool("monitor AI:0 F:3.0.25 --seconds 1 --stats");
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_GT(run.output.count(latin("AI:0@1")), 2);
    EXPECT_EQ(run.output.count(latin("F:3.0.25@1")), 1) << "it does not change";
    EXPECT_TRUE(run.output.contains(latin(" good and 0 bad replies")));
    EXPECT_TRUE(run.output.contains(latin("response median ms")));
}

TEST_F(ToolTest, MonitorSpeaksJson) {
    startDevice();
    const ToolRun run = tool("monitor DI:1,2 AI:0 --count 3 --json");
    ASSERT_EQ(run.lines().size(), 4) << run.output.toStdString();
    EXPECT_EQ(json(run.lines().first()).value(latin("quality")).toString(), latin("good"));
    EXPECT_TRUE(json(run.lines().last()).value(latin("requests")).toInt() > 0);
}

TEST_F(ToolTest, MonitorWithoutAnyAnswerFails) {
    startDevice();
    EXPECT_EQ(tool("monitor AI:0@9 --seconds 0.3 --timeout 50").exitCode, 1);
}

// No answer has no response time, and a plan that was never polled through no duration.
TEST_F(ToolTest, WhatWasNeverMeasuredIsNoNumber) {
    startDevice();
    const QString text = tool("monitor AI:0@9 F:3.0.25@9 --seconds 0.2 --timeout 1000 --stats").output;
    for (const char* row : {"response min ms", "response median ms", "response 99 % ms", "response max ms"}) {
        EXPECT_TRUE(text.contains(QRegularExpression(latin(row) + latin(" +- +-\n")))) << text.toStdString();
    }
    EXPECT_TRUE(text.contains(latin("cycle: 0 finished, median - ms, max - ms\n"))) << text.toStdString();
    const ToolRun run = tool("monitor AI:0@9 F:3.0.25@9 --seconds 0.2 --timeout 1000 --stats --json");
    const QJsonObject statistics = json(run.lines().last());
    const QJsonObject response =
        statistics.value(latin("all")).toObject().value(latin("response_ms")).toObject();
    for (const char* key : {"min", "median", "p99", "max"}) {
        EXPECT_TRUE(response.value(latin(key)).isNull()) << key << run.output.toStdString();
    }
    const QJsonObject cycles = statistics.value(latin("cycles")).toObject();
    EXPECT_EQ(cycles.value(latin("count")).toInt(-1), 0);
    EXPECT_TRUE(cycles.value(latin("median_ms")).isNull() && cycles.value(latin("max_ms")).isNull());
    // A silent station beside one that answers.
    const QString both = tool("monitor AI:0 AI:0@9 --seconds 0.3 --timeout 50 --stats").output;
    EXPECT_TRUE(both.contains(QRegularExpression(latin("response min ms +[0-9.]+ +- +[0-9.]+\n"))))
        << both.toStdString();
}

TEST_F(ToolTest, MonitorSurvivesARestartOfTheDevice) {
    startDevice();
    QProcess monitor;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(latin("DX7_DRIVER"), latin(DX7_TEST_DRIVER));
    monitor.setProcessEnvironment(environment);
    monitor.start(latin(DX7_TOOL), words("monitor F:3.0.25 --seconds 5 --serial") + QStringList{port()});
    ASSERT_TRUE(monitor.waitForReadyRead(5000));
    stopDevice();
    QString output;
    while (!output.contains(latin("was lost")) && monitor.waitForReadyRead(5000)) {
        output += QString::fromUtf8(monitor.readAllStandardOutput());
    }
    EXPECT_TRUE(output.contains(latin("(bad since "))) << output.toStdString();
    startDevice();
    ASSERT_TRUE(monitor.waitForFinished(10000));
    output += QString::fromUtf8(monitor.readAllStandardOutput());
    EXPECT_TRUE(output.contains(latin("is back"))) << output.toStdString();
    EXPECT_EQ(output.count(latin("F:3.0.25@1      325\n")), 2) << output.toStdString();
    EXPECT_EQ(monitor.exitCode(), 0);
}

TEST_F(ToolTest, MonitorFindsASilencedStationAgain) {
    startDevice(words("--stations 1,2"));
    command("silence 2");
    QProcess monitor;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(latin("DX7_DRIVER"), latin(DX7_TEST_DRIVER));
    monitor.setProcessEnvironment(environment);
    monitor.start(latin(DX7_TOOL), words("monitor F:3.0.25@1 F:3.0.25@2 --seconds 4 --timeout 50 --serial") +
                                       QStringList{port()});
    QString output;
    while (!output.contains(latin("station 2 does not answer")) && monitor.waitForReadyRead(5000)) {
        output += QString::fromUtf8(monitor.readAllStandardOutput());
    }
    command("revive 2");
    ASSERT_TRUE(monitor.waitForFinished(10000));
    output += QString::fromUtf8(monitor.readAllStandardOutput());
    EXPECT_TRUE(output.contains(latin("station 2 answers again"))) << output.toStdString();
    EXPECT_TRUE(output.contains(latin("F:3.0.25@2      325\n"))) << output.toStdString();
}

TEST_F(ToolTest, ScanFindsTheStations) {
    startDevice(words("--stations 1,2,9"));
    const ToolRun run = tool("scan --stations 1-10 --timeout 50");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.lines().size(), 4) << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(latin("3 of 10 asked stations answered")));
    EXPECT_EQ(tool("scan --stations 20-22 --timeout 50").exitCode, 1);
}

TEST_F(ToolTest, ParametersAreSavedComparedAndLoaded) {
    startDevice();
    const std::string file = path("saved.toml").toStdString();
    EXPECT_EQ(tool(("params save " + file + " --groups 0-1").c_str()).exitCode, 0);
    EXPECT_TRUE(tool(("params diff " + file).c_str()).output.startsWith(latin("0 of 112 ")));
    ASSERT_EQ(tool("write F:0.0.07=4711 F:1.0.20=99").exitCode, 0);
    const ToolRun differs = tool(("params diff " + file).c_str());
    EXPECT_TRUE(differs.output.contains(latin("F:0.0.07@1      file     7  device 4711")))
        << differs.output.toStdString();
    EXPECT_TRUE(differs.output.contains(latin("2 of 112 ")));
    const ToolRun loaded = tool(("params load " + file).c_str());
    EXPECT_EQ(loaded.exitCode, 0);
    EXPECT_TRUE(loaded.output.contains(latin("110 were right already, 2 written and verified, 0 not")));
    EXPECT_EQ(tool("read F:0.0.07").output, latin("F:0.0.07@1 = 7\n"));
}

TEST_F(ToolTest, ParametersOfASilentStationLeaveTheFileAlone) {
    startDevice();
    const std::string file = path("saved.toml").toStdString();
    EXPECT_EQ(tool(("params save " + file + " --station 5 --timeout 50").c_str()).exitCode, 1);
    EXPECT_FALSE(QFile::exists(path("saved.toml")));
}

TEST_F(ToolTest, ARecordingCanBeReplayed) {
    startDevice();
    const std::string file = path("line.pcap").toStdString();
    tool(("write DO:1=1 F:0.0.10,2=10,258 F:3.0.25=500 --record " + file).c_str());
    const ToolRun writes = runTool({latin("replay"), path("line.pcap")});
    // Three writes, and what proves their acknowledgements.
    EXPECT_EQ(writes.lines().filter(latin(" write ")).size(), 6) << writes.output.toStdString();
    EXPECT_FALSE(writes.lines().filter(latin(" diagnostics")).isEmpty());
    EXPECT_TRUE(writes.output.contains(
        latin("write multiple registers: 0xE010 = 10 258  [01 10 E0 10 00 02 04 00 0A 01 02 9B 34]")));
    EXPECT_TRUE(writes.output.contains(latin("write single coil: 0x1020 on  [01 05 10 20 FF 00 89 30]")));
    tool(("read F:10.0.00 FAS:0 --retries 1 --record " + file).c_str());
    const ToolRun reads = runTool({latin("replay"), path("line.pcap")});
    EXPECT_TRUE(reads.output.contains(latin("exception 2 (illegal data address)")));
    EXPECT_TRUE(reads.output.contains(latin("read exception status: 0x")));
}

TEST_F(ToolTest, AFileNamesTheLineAndItsTags) {
    startDevice();
    QFile file(path("line.toml"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(
        "[line]\nserial = \"" + port().toUtf8() +
        "\"\n[[tag]]\nname = \"ramp\"\ntype = \"F\"\naddress = \"3.0.25\"\nscale = 0.1\nunit = \"Hz\"\n");
    file.close();
    EXPECT_EQ(runTool({latin("read"), latin("-c"), path("line.toml")}).output, latin("ramp = 32.5 Hz\n"));
    EXPECT_EQ(runTool({latin("read"), latin("-c"), path("line.toml"), latin("ramp")}).exitCode, 0);
}

TEST_F(ToolTest, PlanShowsRequestsAndWhyTheyAreApart) {
    const ToolRun run = runTool(words("plan F:0.0.09,3 AI:0@1 AI:0@2 --baud 9600"));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.output.contains(latin("01 03 F0 09 00 01")));
    EXPECT_TRUE(run.output.contains(latin("sub-group of 10")));
    EXPECT_TRUE(run.output.contains(latin("other type")));
    EXPECT_TRUE(run.output.contains(latin("other station")));
    EXPECT_TRUE(run.output.contains(latin("cycle: 4 requests")));
}

TEST_F(ToolTest, TypesCheckAndCopiesShowTheDriversTables) {
    EXPECT_EQ(runTool(words("types")).lines().size(), 16);
    EXPECT_EQ(runTool(words("check F:3.0.25 DO:1,2")).exitCode, 0);
    EXPECT_EQ(runTool(words("check F:3.0.25 DO:3")).exitCode, 2);
    const ToolRun copies = runTool(words("copies CW_bit:14 3"));
    EXPECT_EQ(copies.lines().size(), 4);
    EXPECT_TRUE(copies.output.contains(latin("CW_bit:15  (15)")));
}

// Scripts of earlier versions give it.
TEST_F(ToolTest, TheWindowForLateRepliesIsAcceptedAndIgnored) {
    startDevice();
    for (const char* late : {"0", "700"}) {
        const ToolRun run = tool((QByteArray("read F:3.0.25 --late ") + late).constData());
        EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
        EXPECT_EQ(run.output, latin("F:3.0.25@1 = 325\n"));
        EXPECT_TRUE(run.errors.isEmpty()) << run.errors.toStdString();
    }
    EXPECT_FALSE(runTool(words("read --help")).output.contains(latin("--late")));
}

// The device's line does not echo: what is said of that changes no value.
TEST_F(ToolTest, WhetherTheAdapterEchoesCanBeSaid) {
    startDevice();
    for (const char* echo : {"auto", "off", "on"}) {
        const ToolRun run = tool((QByteArray("read F:3.0.25 --echo ") + echo).constData());
        EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
        EXPECT_EQ(run.output, latin("F:3.0.25@1 = 325\n"));
    }
    const ToolRun write = tool("write F:3.0.25=4 --verify --echo off");
    EXPECT_EQ(write.exitCode, 0) << write.errors.toStdString();
}

class BadUsage : public ToolTest, public testing::WithParamInterface<const char*> {};

// Nothing may be sent: the port of these runs does not answer, and most name none.
TEST_P(BadUsage, IsOneClearLineAndExitCodeTwo) {
    const ToolRun run = runTool(words(GetParam()));
    EXPECT_EQ(run.exitCode, 2) << run.output.toStdString();
    EXPECT_TRUE(run.errors.startsWith(latin("dx7: "))) << run.errors.toStdString();
    EXPECT_EQ(run.errors.count(QLatin1Char('\n')), 1) << run.errors.toStdString();
    EXPECT_TRUE(run.output.isEmpty()) << run.output.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, BadUsage,
    testing::Values(
        "", "frobnicate", "read", "read AI:0", "read --serial /nonexistent/port AI:0",
        "read --serial /nonexistent/port", "read --tcp 127.0.0.1:0 AI:0", "read --tcp : AI:0",
        "read --serial /nonexistent/port --block 0 AI:0", "read --serial /nonexistent/port --block -1 AI:0",
        "read --serial x --tcp y AI:0", "read --serial /nonexistent/port --baud fast AI:0",
        "read --serial /nonexistent/port --parity mark AI:0", "read --tcp localhost --rs485 AI:0",
        "read --serial /nonexistent/port --echo maybe AI:0", "read --serial /nonexistent/port --echo 1 AI:0",
        "read --serial /nonexistent/port --late soon AI:0", "read --serial /nonexistent/port AI:9",
        "read --serial /nonexistent/port XX:0", "write --serial /nonexistent/port F:0.0.00=65536",
        "write --serial /nonexistent/port F:0.0.00=-40000", "write --serial /nonexistent/port DO:1=2",
        "write --serial /nonexistent/port AI:0=1", "write --serial /nonexistent/port DO:1@0=1 --verify",
        "monitor --serial /nonexistent/port --seconds 0 AI:0",
        "monitor --serial /nonexistent/port --count 0 AI:0", "types --driver /nonexistent/driver.so",
        "types --driver libz.so.1", "scan --serial /nonexistent/port --stations 0-5", "params",
        "params load /nonexistent/file --serial /nonexistent/port", "replay /nonexistent/file",
        "copies F:0.0.00 0", "read -c /nonexistent/line.toml", "read AI:0 --frobnicate"));

}  // namespace
