#include "Translations.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

namespace Translations {

void install(QCoreApplication& app) {
    auto* translator = new QTranslator(&app);
    if (translator->load(QLocale(), QStringLiteral("nelvo"), QStringLiteral("_"),
                         QStringLiteral(":/i18n")) ||
        translator->load(QStringLiteral(":/i18n/nelvo_en"))) {
        QCoreApplication::installTranslator(translator);
    } else {
        delete translator;
    }
}

}  // namespace Translations
