"""A panel's tray host as applications see it: the StatusNotifierWatcher.

Items register with RegisterStatusNotifierItem; the watcher lists them in
RegisteredStatusNotifierItems and announces each, as a panel's watcher does.
"""

import dbus

BUS_NAME = "org.kde.StatusNotifierWatcher"
MAIN_OBJ = "/StatusNotifierWatcher"
MAIN_IFACE = "org.kde.StatusNotifierWatcher"
SYSTEM_BUS = False


def load(mock, parameters):
    mock.AddProperties(
        MAIN_IFACE,
        dbus.Dictionary(
            {
                "IsStatusNotifierHostRegistered": dbus.Boolean(True),
                "ProtocolVersion": dbus.Int32(0),
                "RegisteredStatusNotifierItems": dbus.Array([], signature="s"),
            },
            signature="sv",
        ),
    )
    mock.AddMethods(
        MAIN_IFACE,
        [
            (
                "RegisterStatusNotifierItem",
                "s",
                "",
                "service = args[0]\n"
                "items = list(self.Get('%s', 'RegisteredStatusNotifierItems'))\n"
                "items.append(service)\n"
                "self.Set('%s', 'RegisteredStatusNotifierItems', dbus.Array(items, signature='s'))\n"
                "self.EmitSignal('%s', 'StatusNotifierItemRegistered', 's', [service])"
                % (MAIN_IFACE, MAIN_IFACE, MAIN_IFACE),
            ),
            ("RegisterStatusNotifierHost", "s", "", ""),
        ],
    )
