// SPDX-License-Identifier: MIT
#include "security/caller_environment.h"

#include <QTextCodec>

#include <algorithm>

namespace halvex {
namespace {

const QStringList forbiddenEnvironmentNames{"LD_PRELOAD", "LD_LIBRARY_PATH", "LD_AUDIT", "BASH_ENV",
                                            "ENV",        "PYTHONPATH",      "PERL5OPT"};

} // namespace

QStringList environmentEntries(const QByteArray &block)
{
    QTextCodec::ConverterState noByteOrderMark(QTextCodec::IgnoreHeader);
    QString text =
        QTextCodec::codecForLocale()->toUnicode(block.constData(), block.size(), &noByteOrderMark);
    return text.replace(QChar('\0'), QChar('\n')).split('\n');
}

bool holdsForbiddenName(const QStringList &entries)
{
    return std::any_of(entries.begin(), entries.end(), [](const QString &entry) {
        const int nameLength = entry.indexOf('=');
        return nameLength >= 0 && forbiddenEnvironmentNames.contains(entry.left(nameLength));
    });
}

} // namespace halvex
