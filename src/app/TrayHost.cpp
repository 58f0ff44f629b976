#include "TrayHost.h"

#include <xcb/xcb.h>
#include <QByteArray>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <cstdlib>

namespace {

// The X11 tray's manager owns the selection _NET_SYSTEM_TRAY_S{screen}.
// Asked here rather than through the toolkit, whose answer would also fix
// its choice of tray for the rest of the process.
bool xembedTrayPresent() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection()) {
        return false;
    }
    xcb_connection_t* connection = x11->connection();
    // DISPLAY is "host:display.screen"; the screen defaults to 0.
    const QByteArray display = qgetenv("DISPLAY");
    const qsizetype dot = display.lastIndexOf('.');
    const int screen = dot > display.lastIndexOf(':') ? display.mid(dot + 1).toInt() : 0;
    const QByteArray name = "_NET_SYSTEM_TRAY_S" + QByteArray::number(screen);
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 1, static_cast<uint16_t>(name.size()), name.constData()),
        nullptr);
    if (!atom) {
        return false;
    }
    const xcb_atom_t selection = atom->atom;
    std::free(atom);
    if (selection == XCB_ATOM_NONE) {
        return false;
    }
    xcb_get_selection_owner_reply_t* owner = xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, selection), nullptr);
    const bool owned = owner && owner->owner != XCB_WINDOW_NONE;
    std::free(owner);
    return owned;
}

}  // namespace

TrayHost::TrayHost(QDBusConnection bus, QObject* parent)
    : QObject(parent), watcher_(watcherService, bus, QDBusServiceWatcher::WatchForOwnerChange) {
    connect(&watcher_, &QDBusServiceWatcher::serviceRegistered, this,
            [this] { setWatcherPresent(true); });
    connect(&watcher_, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { setWatcherPresent(false); });
    if (!bus.isConnected()) {
        // No session bus at all: no tray host can come.
        QMetaObject::invokeMethod(
            this, [this] { answered(false); }, Qt::QueuedConnection);
        return;
    }
    const QDBusMessage ask = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                            QStringLiteral("/org/freedesktop/DBus"),
                                                            QStringLiteral("org.freedesktop.DBus"),
                                                            QStringLiteral("NameHasOwner"))
                             << watcherService;
    auto* reply = new QDBusPendingCallWatcher(bus.asyncCall(ask), this);
    connect(reply, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        const QDBusPendingReply<bool> owned = *call;
        call->deleteLater();
        // No bus, or no answer, is no tray host.
        answered(!owned.isError() && owned.value());
    });
}

void TrayHost::answered(bool watcherPresent) {
    if (known_) {
        return;  // an owner change came first and is newer
    }
    known_ = true;
    watcherPresent_ = watcherPresent;
    xembedTray_ = !watcherPresent_ && xembedTrayPresent();
    Q_EMIT availableChanged(available());
}

void TrayHost::setWatcherPresent(bool present) {
    if (!known_) {
        answered(present);
        return;
    }
    if (present == watcherPresent_) {
        return;
    }
    const bool before = available();
    watcherPresent_ = present;
    if (available() != before) {
        Q_EMIT availableChanged(available());
    }
}
