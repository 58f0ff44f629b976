#include "ScriptingReply.h"

#include <QDBusArgument>
#include <QDBusVariant>
#include <QVariantList>
#include <QVariantMap>

namespace ScriptingReply {

namespace {

QVariant plainArgument(const QDBusArgument& argument) {
    switch (argument.currentType()) {
        case QDBusArgument::MapType: {
            QVariantMap map;
            argument.beginMap();
            while (!argument.atEnd()) {
                QString key;
                QVariant value;
                argument.beginMapEntry();
                argument >> key >> value;
                argument.endMapEntry();
                map.insert(key, plain(value));
            }
            argument.endMap();
            return map;
        }
        case QDBusArgument::ArrayType: {
            QVariantList list;
            argument.beginArray();
            while (!argument.atEnd()) {
                QVariant element;
                argument >> element;
                list << plain(element);
            }
            argument.endArray();
            return list;
        }
        default:
            return argument.asVariant();
    }
}

}  // namespace

QVariant plain(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        return plainArgument(value.value<QDBusArgument>());
    }
    if (value.metaType() == QMetaType::fromType<QDBusVariant>()) {
        return plain(value.value<QDBusVariant>().variant());
    }
    if (value.metaType() == QMetaType::fromType<QVariantMap>()) {
        QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it) {
            it.value() = plain(it.value());
        }
        return map;
    }
    if (value.metaType() == QMetaType::fromType<QVariantList>()) {
        QVariantList list = value.toList();
        for (QVariant& element : list) {
            element = plain(element);
        }
        return list;
    }
    return value;
}

}  // namespace ScriptingReply
