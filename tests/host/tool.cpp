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
    std::vector<std::string> words;
    for (const QString& option : options) {
        words.push_back(option.toStdString());
    }
    device =
        std::make_unique<kit::DeviceProcess>(std::vector<std::string>{"--pty", folder.file("line")}, words);
}

void ToolTest::stopDevice() {
    if (device) {
        device->stop();
        device.reset();
    }
}

void ToolTest::command(const char* line) {
    device->type(std::string(line) + "\n");
}

ToolRun ToolTest::tool(const char* words) const {
    return runTool(QString::fromLatin1(words).split(QLatin1Char(' '), Qt::SkipEmptyParts) +
                   QStringList{QStringLiteral("--serial"), port()});
}
