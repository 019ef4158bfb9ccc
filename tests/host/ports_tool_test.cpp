// dx7 ports, on a pseudo-terminal whose other end the test has.
#include <poll.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <atomic>
#include <thread>

#include "line_ends.h"
#include "tool.h"

namespace {

// Sends back what comes, as a bridge does; with `change` in every byte.
class Bridge {
public:
    explicit Bridge(const End& end, char change = 0)
        : thread_([this, &end, change] {
              while (!over_) {
                  pollfd watched{end.number(), POLLIN, 0};
                  ::poll(&watched, 1, 10);
                  QByteArray bytes = end.read();
                  for (char& byte : bytes) {
                      byte = static_cast<char>(byte ^ change);
                  }
                  if (!bytes.isEmpty()) {
                      end.write(bytes);
                  }
              }
          }) {}
    ~Bridge() {
        over_ = true;
        thread_.join();
    }

private:
    std::atomic<bool> over_{false};
    std::thread thread_;
};

ToolRun loopback(const PseudoTerminal& terminal, const QStringList& more = {}) {
    return runTool(QStringList{QStringLiteral("ports"), QStringLiteral("--loopback"),
                               QString::fromStdString(terminal.path)} +
                   more);
}

TEST(PortsTool, ABridgedPortIsGood) {
    const PseudoTerminal terminal;
    const Bridge bridge(terminal.device);
    const ToolRun run = loopback(terminal, {QStringLiteral("--baud"), QStringLiteral("115200")});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_TRUE(
        run.output.contains(QStringLiteral("(115200 8N1): all 321 bytes came back as they were sent")))
        << run.output.toStdString();
    const ToolRun json = loopback(terminal, {QStringLiteral("--json")});
    const QJsonObject object = QJsonDocument::fromJson(json.output.toUtf8()).object();
    EXPECT_EQ(object[QStringLiteral("event")], QStringLiteral("loopback"));
    EXPECT_EQ(object[QStringLiteral("good")], true);
    EXPECT_EQ(object[QStringLiteral("sent")], 321);
}

TEST(PortsTool, AnOpenPortAndAFailingOneAreNot) {
    const PseudoTerminal open;
    const ToolRun nothing = loopback(open);
    EXPECT_EQ(nothing.exitCode, 1);
    EXPECT_TRUE(nothing.errors.contains(QStringLiteral("nothing came back"))) << nothing.errors.toStdString();
    EXPECT_TRUE(nothing.output.isEmpty());
    const PseudoTerminal failing;
    const Bridge bridge(failing.device, 4);
    const ToolRun changed = loopback(failing);
    EXPECT_EQ(changed.exitCode, 1);
    EXPECT_TRUE(changed.errors.contains(QStringLiteral("byte 1 was sent as 55 and came back as 51")))
        << changed.errors.toStdString();
}

TEST(PortsTool, NothingIsSentWhereSomethingElseSpeaks) {
    const PseudoTerminal terminal;
    std::atomic<bool> over{false};
    std::thread master([&] {
        while (!over) {
            terminal.device.write("\x01\x03");
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    const ToolRun run = loopback(terminal);
    over = true;
    master.join();
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.errors.contains(QStringLiteral("the test was not begun"))) << run.errors.toStdString();
    EXPECT_TRUE(terminal.device.read().isEmpty());
}

TEST(PortsTool, WrongUsageIsRefused) {
    const ToolRun missing =
        runTool({QStringLiteral("ports"), QStringLiteral("--loopback"), QStringLiteral("/no/such/port")});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_TRUE(missing.errors.contains(QStringLiteral("could not be opened: No such file or directory")))
        << missing.errors.toStdString();
    const ToolRun settings =
        runTool({QStringLiteral("ports"), QStringLiteral("--baud"), QStringLiteral("9600")});
    EXPECT_EQ(settings.exitCode, 2);
    EXPECT_TRUE(settings.errors.contains(QStringLiteral("with --loopback PORT")))
        << settings.errors.toStdString();
}

// Whether this computer has a port or none.
TEST(PortsTool, TheListSaysWhetherThereIsAPort) {
    const ToolRun run = runTool({QStringLiteral("ports")});
    EXPECT_EQ(run.exitCode, run.output.isEmpty() ? 1 : 0);
    EXPECT_EQ(run.errors.contains(QStringLiteral("has no serial port")), run.output.isEmpty());
    const ToolRun json = runTool({QStringLiteral("ports"), QStringLiteral("--json")});
    EXPECT_EQ(json.exitCode, run.exitCode);
    for (const QString& line : json.lines()) {
        EXPECT_EQ(QJsonDocument::fromJson(line.toUtf8()).object()[QStringLiteral("event")],
                  QStringLiteral("port"));
    }
}

}  // namespace
