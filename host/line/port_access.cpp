#include "host/line/port_access.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <array>
#include <cerrno>

#include "common/process_name.h"
#include "host/error.h"
#include "host/number_text.h"

namespace dx7 {

namespace {

constexpr mode_t GROUP_MAY = S_IRGRP | S_IWGRP;

// Whether one of the descriptors in the folder, links each, leads to the file.
bool leadsTo(const QDir& descriptors, const QString& file) {
    const QFileInfoList links = descriptors.entryInfoList(QDir::Files | QDir::System | QDir::NoDotAndDotDot);
    return std::any_of(links.begin(), links.end(),
                       [&file](const QFileInfo& link) { return link.symLinkTarget() == file; });
}

QString groupName(gid_t number) {
    std::array<char, 4096> buffer{};
    group entry{};
    group* found = nullptr;
    ::getgrgid_r(number, &entry, buffer.data(), buffer.size(), &found);
    return found == nullptr ? QString() : QString::fromLocal8Bit(found->gr_name);
}

}  // namespace

QVector<PortHolder> holdersOf(const QString& path, const QString& processes) {
    QVector<PortHolder> holders;
    const QString file = QFileInfo(path).canonicalFilePath();
    if (file.isEmpty()) {
        return holders;
    }
    const QDir folder(processes);
    for (const QString& name : folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const std::optional<qint64> process = plainNumber(name);
        if (process && *process != ::getpid() &&
            leadsTo(QDir(folder.filePath(name + QStringLiteral("/fd"))), file)) {
            const std::string program = dx7common::processName(static_cast<pid_t>(*process));
            holders += PortHolder{*process, QString::fromLocal8Bit(program.c_str())};
        }
    }
    std::sort(holders.begin(), holders.end(),
              [](const PortHolder& a, const PortHolder& b) { return a.process < b.process; });
    return holders;
}

PortAccess accessOf(const QString& path) {
    PortAccess access;
    const QByteArray name = QFile::encodeName(path);
    struct stat status = {};
    if (::stat(name.constData(), &status) != 0) {
        return access;
    }
    access.permitted = ::access(name.constData(), R_OK | W_OK) == 0;
    access.group = groupName(status.st_gid);
    access.groupMay = (status.st_mode & GROUP_MAY) == GROUP_MAY;
    return access;
}

QString holdersText(const QVector<PortHolder>& holders) {
    QStringList texts;
    for (const PortHolder& holder : holders) {
        const QString program = holder.program.isEmpty() ? QStringLiteral("a program") : holder.program;
        texts += QStringLiteral("%1 (process %2)").arg(program).arg(holder.process);
    }
    return texts.join(QStringLiteral(", "));
}

QString permissionText(const PortAccess& access) {
    if (!access.groupMay || access.group.isEmpty()) {
        return QStringLiteral("its permissions let neither this user nor a group of users use it");
    }
    return QStringLiteral(
               "members of the group \"%1\" may use it: sudo usermod -aG %1 $USER, then log in again")
        .arg(access.group);
}

QString refusedPortText(const QString& path, int error) {
    const QString reason = systemReason(error);
    if (error == EBUSY) {
        const QVector<PortHolder> holders = holdersOf(path);
        return reason + (holders.isEmpty()
                             ? QStringLiteral("; another program has it for itself alone, of another user: "
                                              "dx7 ports names it to root")
                             : QStringLiteral("; it is held by ") + holdersText(holders));
    }
    const bool here = QFile::exists(path);
    return error == EACCES && here ? reason + QStringLiteral("; ") + permissionText(accessOf(path)) : reason;
}

}  // namespace dx7
