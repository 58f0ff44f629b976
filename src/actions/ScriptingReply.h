#pragma once

#include <QVariant>

// Values as they arrive from the bus made plain: nested dictionaries (a{sv})
// and lists of variants (av) become QVariantMap and QVariantList all the way
// down, so they can be read by key or written as JSON.
namespace ScriptingReply {

QVariant plain(const QVariant& value);

}  // namespace ScriptingReply
