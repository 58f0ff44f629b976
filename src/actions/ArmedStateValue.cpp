#include "ArmedStateValue.h"

#include <QDBusMetaType>

void ArmedStateValue::registerType() {
    qDBusRegisterMetaType<ArmedStateValue>();
}

QDBusArgument& operator<<(QDBusArgument& argument, const ArmedStateValue& value) {
    argument.beginStructure();
    argument << value.raw << value.description;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, ArmedStateValue& value) {
    argument.beginStructure();
    argument >> value.raw >> value.description;
    argument.endStructure();
    return argument;
}
