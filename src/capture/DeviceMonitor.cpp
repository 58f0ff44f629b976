#include "DeviceMonitor.h"

#include "Log.h"
#include "SerialQueue.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <memory>

namespace {

GstStructureHandle propertiesOf(GstDevice* device) {
    return GstStructureHandle(gst_device_get_properties(device));
}

QString stringProperty(const GstStructure* properties, const char* name) {
    const gchar* value = properties ? gst_structure_get_string(properties, name) : nullptr;
    return value ? QString::fromUtf8(value) : QString();
}

// The /dev/v4l/by-id link (named after the camera's bus, vendor, model and
// serial) that points at the node, when udev made one.
QString byIdPathFor(const QString& node) {
    const QString target = QFileInfo(node).canonicalFilePath();
    const QDir byId(QStringLiteral("/dev/v4l/by-id"));
    for (const QFileInfo& link : byId.entryInfoList(QDir::System | QDir::Files)) {
        if (!target.isEmpty() && link.canonicalFilePath() == target) {
            return link.absoluteFilePath();
        }
    }
    return node;
}

}  // namespace

DeviceMonitor::DeviceMonitor() {
    Gst::ensureInitialised();
    monitor_ = GstHandle<GstDeviceMonitor>::adopt(gst_device_monitor_new());
    gst_device_monitor_add_filter(monitor_.get(), "Video/Source", nullptr);
    gst_device_monitor_add_filter(monitor_.get(), "Audio/Source", nullptr);
}

DeviceMonitor::~DeviceMonitor() {
    stop();
}

bool DeviceMonitor::start(SerialQueue& queue, CaptureDevicesListener& listener) {
    queue_ = &queue;
    listener_ = &listener;
    auto bus = GstHandle<GstBus>::adopt(gst_device_monitor_get_bus(monitor_.get()));
    gst_bus_set_sync_handler(bus.get(), &DeviceMonitor::onBusMessage, this, nullptr);
    delivering_ = true;
    const bool started = gst_device_monitor_start(monitor_.get());
    if (!started) {
        Log::line(QStringLiteral("Could not start watching for cameras and microphones"));
    }
    queue.sync([this] {
        GList* devices = gst_device_monitor_get_devices(monitor_.get());
        for (GList* item = devices; item; item = item->next) {
            add(GST_DEVICE(item->data), false);
        }
        g_list_free_full(devices, gst_object_unref);
        // Started here, so that its changes queue up behind the listing.
        serverInput_ = soundServer_.start([this](const QString& sourceName) {
            queue_->async([this, sourceName] {
                if (delivering_) {
                    serverInputChanged(sourceName);
                }
            });
        });
        listed_ = true;
    });
    return started;
}

void DeviceMonitor::stop() {
    if (!delivering_.exchange(false)) {
        return;
    }
    soundServer_.stop();
    auto bus = GstHandle<GstBus>::adopt(gst_device_monitor_get_bus(monitor_.get()));
    gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
    gst_device_monitor_stop(monitor_.get());
    queue_->sync([this] {
        entries_.clear();
        listed_ = false;
        serverInput_.reset();
    });
}

GstBusSyncReply DeviceMonitor::onBusMessage(GstBus*, GstMessage* message, gpointer self) {
    auto* monitor = static_cast<DeviceMonitor*>(self);
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_DEVICE_ADDED:
        case GST_MESSAGE_DEVICE_REMOVED:
        case GST_MESSAGE_DEVICE_CHANGED:
            if (monitor->delivering_) {
                monitor->queue_->async([monitor, m = GstHandle<GstMessage>::ref(message)] {
                    if (monitor->delivering_) {
                        monitor->handle(m.get());
                    }
                });
            }
            break;
        default:
            break;
    }
    // A handler that drops a message owns it.
    gst_message_unref(message);
    return GST_BUS_DROP;
}

void DeviceMonitor::handle(GstMessage* message) {
    // Providers announce what is attached while they start; the listing that
    // follows the start already holds it, and those devices are not new.
    if (!listed_) {
        return;
    }
    GstDevice* device = nullptr;
    GstDevice* old = nullptr;
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_DEVICE_ADDED:
            gst_message_parse_device_added(message, &device);
            add(GstHandle<GstDevice>::adopt(device).get(), true);
            break;
        case GST_MESSAGE_DEVICE_REMOVED:
            gst_message_parse_device_removed(message, &device);
            remove(GstHandle<GstDevice>::adopt(device).get());
            break;
        case GST_MESSAGE_DEVICE_CHANGED: {
            gst_message_parse_device_changed(message, &device, &old);
            const auto owned = GstHandle<GstDevice>::adopt(device);
            const auto replaced = GstHandle<GstDevice>::adopt(old);
            changed(owned.get(), replaced.get());
            break;
        }
        default:
            break;
    }
}

std::optional<DeviceKind> DeviceMonitor::kindOf(GstDevice* device) {
    if (gst_device_has_classes(device, "Video/Source")) {
        return DeviceKind::video;
    }
    if (gst_device_has_classes(device, "Audio/Source")) {
        return DeviceKind::audio;
    }
    return std::nullopt;
}

bool DeviceMonitor::isDefault(GstDevice* device) {
    if (!g_object_class_find_property(G_OBJECT_GET_CLASS(device), "is-default")) {
        const GstStructureHandle properties = propertiesOf(device);
        gboolean value = FALSE;
        return properties && gst_structure_get_boolean(properties.get(), "is-default", &value) &&
               value;
    }
    gboolean value = FALSE;
    g_object_get(device, "is-default", &value, nullptr);
    return value;
}

QString DeviceMonitor::uniqueIDFor(GstDevice* device) {
    const GstStructureHandle properties = propertiesOf(device);
    const GstStructure* props = properties.get();
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(device), "internal-name")) {
        GCharHandle name;
        g_object_get(device, "internal-name", static_cast<gchar**>(Gst::out(name)), nullptr);
        const QString id = QString::fromUtf8(name.get());
        if (!id.isEmpty()) {
            return id;  // the sound server's source name
        }
    }
    for (const char* key : {"api.v4l2.path", "device.path"}) {
        const QString node = stringProperty(props, key);
        if (node.startsWith(QLatin1String("/dev/video"))) {
            return byIdPathFor(node);
        }
    }
    for (const char* key : {"node.name", "device.path"}) {
        const QString name = stringProperty(props, key);
        if (!name.isEmpty()) {
            return name;
        }
    }
    const GCharHandle display(gst_device_get_display_name(device));
    return QString::fromUtf8(display.get());
}

void DeviceMonitor::add(GstDevice* device, bool announce) {
    const std::optional<DeviceKind> kind = kindOf(device);
    if (!kind) {
        return;
    }
    const QString id = uniqueIDFor(device);
    const bool known = std::any_of(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.kind == *kind && entry.source->uniqueID() == id;
    });
    if (known) {
        return;
    }
    Entry entry{GstHandle<GstDevice>::ref(device),
                std::make_shared<DeviceSource>(id, GstHandle<GstDevice>::ref(device)), *kind,
                isDefault(device)};
    const std::shared_ptr<CaptureSource> input = defaultInput();
    entries_.push_back(entry);
    if (announce) {
        listener_->deviceConnected(entry.source, entry.kind);
        announceInputChange(input);
    }
}

void DeviceMonitor::remove(GstDevice* device) {
    const QString id = uniqueIDFor(device);
    auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.device.get() == device || entry.source->uniqueID() == id;
    });
    if (found == entries_.end()) {
        return;
    }
    const Entry entry = *found;
    entries_.erase(found);
    listener_->deviceDisconnected(entry.source, entry.kind);
}

void DeviceMonitor::changed(GstDevice* device, GstDevice* old) {
    const std::shared_ptr<CaptureSource> input = defaultInput();
    for (Entry& entry : entries_) {
        if (entry.device.get() == old) {
            entry.device = GstHandle<GstDevice>::ref(device);
            entry.isDefault = isDefault(device);
            entry.source = std::make_shared<DeviceSource>(entry.source->uniqueID(),
                                                          GstHandle<GstDevice>::ref(device));
        }
    }
    if (isDefault(device) && kindOf(device) == DeviceKind::audio) {
        // There is one system input. The provider announces the old one
        // losing that role separately, often after the new one; until then
        // both would claim it and the listener could follow the old one.
        for (Entry& entry : entries_) {
            if (entry.kind == DeviceKind::audio && entry.device.get() != device) {
                entry.isDefault = false;
            }
        }
    }
    announceInputChange(input);
}

void DeviceMonitor::serverInputChanged(const QString& sourceName) {
    const std::shared_ptr<CaptureSource> input = defaultInput();
    serverInput_ = sourceName;
    announceInputChange(input);
}

void DeviceMonitor::announceInputChange(const std::shared_ptr<CaptureSource>& before) {
    const std::shared_ptr<CaptureSource> after = defaultInput();
    if (after && (!before || before->uniqueID() != after->uniqueID())) {
        listener_->defaultInputChanged();
    }
}

std::vector<std::shared_ptr<CaptureSource>> DeviceMonitor::devices(DeviceKind kind) const {
    std::vector<std::shared_ptr<CaptureSource>> found;
    for (const Entry& entry : entries_) {
        if (entry.kind == kind) {
            found.push_back(entry.source);
        }
    }
    return found;
}

std::shared_ptr<CaptureSource> DeviceMonitor::defaultInput() const {
    for (const Entry& entry : entries_) {
        const bool isInput =
            serverInput_ ? entry.source->uniqueID() == *serverInput_ : entry.isDefault;
        if (entry.kind == DeviceKind::audio && isInput) {
            return entry.source;
        }
    }
    return nullptr;
}
