#include "GnomeDoNotDisturb.h"

#include <gio/gio.h>

namespace {
constexpr const char* schemaId = "org.gnome.desktop.notifications";
constexpr const char* bannersKey = "show-banners";
}  // namespace

GnomeDoNotDisturb::GnomeDoNotDisturb(QObject* parent) : QObject(parent) {
    // Creating settings for a missing schema aborts; look it up first.
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    GSettingsSchema* schema =
        source ? g_settings_schema_source_lookup(source, schemaId, TRUE) : nullptr;
    if (!schema) {
        return;
    }
    const bool hasKey = g_settings_schema_has_key(schema, bannersKey);
    g_settings_schema_unref(schema);
    if (!hasKey) {
        return;
    }
    settings_ = g_settings_new(schemaId);
    handler_ = g_signal_connect(settings_, "changed::show-banners", G_CALLBACK(keyChanged), this);
    // GSettings announces a key only after it has been read once.
    g_variant_unref(g_settings_get_value(settings_, bannersKey));
}

GnomeDoNotDisturb::~GnomeDoNotDisturb() {
    if (settings_) {
        g_signal_handler_disconnect(settings_, handler_);
        g_object_unref(settings_);
    }
}

std::optional<bool> GnomeDoNotDisturb::isOn() const {
    if (!settings_) {
        return std::nullopt;
    }
    return !g_settings_get_boolean(settings_, bannersKey);
}

void GnomeDoNotDisturb::keyChanged(GSettings*, const char*, void* self) {
    Q_EMIT static_cast<GnomeDoNotDisturb*>(self)->changed();
}
