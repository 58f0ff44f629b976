#pragma once

#include <QString>

// Nelvo's log: one plain English line per event on standard output.
namespace Log {
void line(const QString& text);
}
