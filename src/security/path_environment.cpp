// SPDX-License-Identifier: MIT
#include "security/path_environment.h"

#include <QDebug>
#include <QFile>
#include <QProcessEnvironment>
#include <QStringList>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

namespace halvex {
namespace {

const QStringList highRiskDirectories{"/tmp", "/dev/shm", "/var/tmp"};
const QStringList coreDirectories{"/usr/bin", "/bin", "/usr/sbin", "/sbin"};

bool liesIn(const QString &path, const QString &directory)
{
    return path == directory || path.startsWith(directory + '/');
}

// The contract has the warnings below in Chinese.

bool isInHighRiskDirectory(const QString &canonical, const QString &item)
{
    for (const QString &directory : highRiskDirectories) {
        if (liesIn(canonical, directory)) {
            qWarning() << "[PATH安全警告] PATH包含高危临时目录:" << canonical << "(原始:" << item
                       << ")";
            return true;
        }
    }
    return false;
}

bool isSafeDirectory(const QString &canonical)
{
    struct stat status = {};
    if (stat(QFile::encodeName(canonical).constData(), &status) != 0) {
        qWarning() << "[PATH校验] stat失败，目录不存在:" << canonical;
        return false;
    }
    if (!S_ISDIR(status.st_mode)) {
        qWarning() << "[PATH校验] PATH项不是目录:" << canonical;
        return false;
    }
    if ((status.st_mode & S_IWOTH) != 0) {
        qWarning() << "[PATH安全警告] 目录全局可写(world writable):" << canonical;
        return false;
    }
    return true;
}

} // namespace

QString canonicalPath(const QString &item)
{
    if (item.isEmpty()) {
        return {};
    }
    std::array<char, PATH_MAX> resolved{};
    if (realpath(item.toLocal8Bit().constData(), resolved.data()) == nullptr) {
        qWarning() << "[PATH校验] realpath 失败:" << item << strerror(errno);
        return {};
    }
    return QString::fromLocal8Bit(resolved.data());
}

bool checkPathEnvironment()
{
    const QString path = QProcessEnvironment::systemEnvironment().value("PATH");
    if (path.isEmpty()) {
        qWarning() << "[PATH安全警告] PATH环境变量为空";
        return true;
    }

    bool coreDirectorySeen = false;
    for (const QString &item : path.split(':', Qt::SkipEmptyParts)) {
        if (item == ".") {
            qWarning() << "[PATH安全警告] PATH包含相对路径项 \".\"";
            return true;
        }
        const QString canonical = canonicalPath(item);
        if (canonical.isEmpty()) {
            qWarning() << "[PATH安全警告] 路径无法规范化:" << item;
            return true;
        }
        if (isInHighRiskDirectory(canonical, item) || !isSafeDirectory(canonical)) {
            return true;
        }
        coreDirectorySeen = coreDirectorySeen || coreDirectories.contains(canonical);
    }
    if (!coreDirectorySeen) {
        qWarning() << "[PATH安全警告] PATH缺失系统核心目录";
        return true;
    }
    return false;
}

} // namespace halvex
