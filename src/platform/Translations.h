#pragma once

class QCoreApplication;

// Installs Nelvo's text catalogue (built into the program) for the current
// locale, falling back to English, whose catalogue holds the singular forms.
namespace Translations {
void install(QCoreApplication& app);
}
