#pragma once

#include "ArmState.h"

#include <QDBusArgument>
#include <QMetaType>
#include <QString>
#include <optional>

// The armed state as scripts see it: the raw number (-1 for none) and the
// state's text, together so a change of either is one announcement.
struct ArmedStateValue {
    int raw = -1;
    QString description;

    static int rawOf(std::optional<ArmState> state) {
        return state ? static_cast<int>(*state) : -1;
    }
    // Registers the type with Qt's D-Bus marshalling; once per process.
    static void registerType();

    friend bool operator==(const ArmedStateValue&, const ArmedStateValue&) = default;
};
Q_DECLARE_METATYPE(ArmedStateValue)

QDBusArgument& operator<<(QDBusArgument& argument, const ArmedStateValue& value);
const QDBusArgument& operator>>(const QDBusArgument& argument, ArmedStateValue& value);
