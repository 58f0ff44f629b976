#pragma once

#include <QString>

// Text from outside Nelvo (device names, paths) made safe for one line of
// plain output: control characters, line separators and the marks that
// reverse the direction of text are written as escapes, so a name can neither
// add lines to a log nor send commands to a terminal.
namespace PlainText {

// "\n", "\r", "\t", "\e" for the common ones, "\xHH" or "\u{HHHH}" for the
// rest, and "\\" for a backslash, so the escaped text reads back unambiguously.
QString escaped(const QString& text);

}  // namespace PlainText
