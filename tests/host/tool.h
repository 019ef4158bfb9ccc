// Runs dx7, and dx7-device for it to talk to.
#ifndef DX7_TESTS_HOST_TOOL_H
#define DX7_TESTS_HOST_TOOL_H

#include <gtest/gtest.h>

#include <QProcess>
#include <QStringList>
#include <memory>

#include "tests/kit/device_process.h"
#include "tests/kit/temporary_directory.h"

// What a run of dx7 left behind.
struct ToolRun {
    int exitCode = -1;
    QString output;
    QString errors;

    QStringList lines() const { return output.split(QLatin1Char('\n'), Qt::SkipEmptyParts); }
};

// Waits for the end of dx7; a run that does not end within 20 s has failed.
ToolRun runTool(const QStringList& arguments);

// A device on a pseudo-terminal in a folder of its own; ended with the test.
class ToolTest : public testing::Test {
protected:
    static void SetUpTestSuite();
    void TearDown() override;

    void startDevice(const QStringList& options = {});
    void stopDevice();
    void command(const char* line);
    QString port() const { return path("line"); }
    QString path(const char* name) const { return QString::fromStdString(folder.file(name)); }
    // dx7 with a line to the device.
    ToolRun tool(const char* words) const;

    kit::TemporaryDirectory folder;
    std::unique_ptr<kit::DeviceProcess> device;
};

#endif
