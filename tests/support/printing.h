// SPDX-License-Identifier: MIT
//
// How GoogleTest shows Qt's texts when a comparison fails.
#pragma once

#include <QString>

#include <ostream>

inline void PrintTo(const QString &text, std::ostream *stream)
{
    *stream << '"' << text.toStdString() << '"';
}
