#include "tool.h"

#include <QCoreApplication>

namespace {
const int TIMEOUT_MS = 20000;
}

ToolRun runTool(const QStringList& arguments) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DX7_DRIVER"), QStringLiteral(DX7_TEST_DRIVER));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(DX7_TOOL), arguments);
    ToolRun run;
    if (!process.waitForFinished(TIMEOUT_MS)) {
        process.kill();
        process.waitForFinished();
        ADD_FAILURE() << "dx7 did not end: " << arguments.join(QLatin1Char(' ')).toStdString();
    } else if (process.exitStatus() == QProcess::NormalExit) {
        run.exitCode = process.exitCode();
    }
    run.output = QString::fromUtf8(process.readAllStandardOutput());
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

void ToolTest::SetUpTestSuite() {
    static int argc = 1;
    static char name[] = "tool_tests";
    static char* argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
}

void ToolTest::TearDown() {
    stopDevice();
}

void ToolTest::startDevice(const QStringList& options) {
    device.setProcessChannelMode(QProcess::MergedChannels);
    device.start(QStringLiteral(DX7_DEVICE), QStringList{QStringLiteral("--pty"), port()} + options);
    ASSERT_TRUE(device.waitForReadyRead(TIMEOUT_MS)) << "dx7-device did not start";
    ASSERT_TRUE(QString::fromUtf8(device.readAll()).contains(QStringLiteral("ready")));
}

void ToolTest::stopDevice() {
    if (device.state() != QProcess::NotRunning) {
        device.terminate();
        if (!device.waitForFinished(TIMEOUT_MS)) {
            device.kill();
            device.waitForFinished();
        }
    }
}

void ToolTest::command(const char* line) {
    device.write(QByteArray(line) + '\n');
    ASSERT_TRUE(device.waitForBytesWritten(TIMEOUT_MS));
}

ToolRun ToolTest::tool(const char* words) const {
    return runTool(QString::fromLatin1(words).split(QLatin1Char(' '), Qt::SkipEmptyParts) +
                   QStringList{QStringLiteral("--serial"), port()});
}
