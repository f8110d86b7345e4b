// SPDX-License-Identifier: MIT
#include "security/caller_environment.h"

#include <QTextCodec>

#include <algorithm>

namespace halvex {
namespace {

const QStringList forbiddenEnvironmentNames{"LD_PRELOAD", "LD_LIBRARY_PATH", "LD_AUDIT", "BASH_ENV",
                                            "ENV",        "PYTHONPATH",      "PERL5OPT"};

} // namespace

QString environmentText(const QByteArray &block)
{
    QByteArray bytes = block;
    bytes.replace("\r", "");
    QTextCodec::ConverterState noByteOrderMark(QTextCodec::IgnoreHeader);
    QString text =
        QTextCodec::codecForLocale()->toUnicode(bytes.constData(), bytes.size(), &noByteOrderMark);
    return text.replace(QChar('\0'), QChar('\n'));
}

QStringList environmentEntries(const QString &text)
{
    return text.split('\n');
}

bool holdsForbiddenName(const QString &text)
{
    int start = 0;
    while (start < text.size()) {
        const int lineFeed = text.indexOf('\n', start);
        const int end = lineFeed < 0 ? text.size() : lineFeed;
        const QStringView entry = QStringView(text).mid(start, end - start);
        const auto isSet = [entry](const QString &name) {
            return entry.size() > name.size() && entry.startsWith(name) &&
                   entry[name.size()] == '=';
        };
        if (std::any_of(forbiddenEnvironmentNames.begin(), forbiddenEnvironmentNames.end(),
                        isSet)) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

} // namespace halvex
