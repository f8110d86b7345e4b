// SPDX-License-Identifier: MIT
#include "util/regular_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace halvex {

bool openRegularFile(QFile &file, const QString &path, QIODevice::OpenModeFlag mode)
{
    // O_TRUNC has an effect on regular files only.
    const int access = mode == QIODevice::ReadOnly ? O_RDONLY : O_WRONLY | O_TRUNC;
    const QByteArray name = QFile::encodeName(path);
    int descriptor = -1;
    do {
        descriptor = open(name.constData(), access | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0 || !file.open(descriptor, mode, QFileDevice::AutoCloseHandle)) {
        return false;
    }

    struct stat status = {};
    if (fstat(file.handle(), &status) != 0 || !S_ISREG(status.st_mode)) {
        file.close();
        return false;
    }
    return true;
}

} // namespace halvex
