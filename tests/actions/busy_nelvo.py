'''A Nelvo that answers badly, for the command line's tests: an error reply,
an answer that never comes in time, and names with control characters in
them. The test's bus refuses Arm by its policy.'''

import dbus

BUS_NAME = 'io.nelvo.Nelvo'
MAIN_OBJ = '/io/nelvo/Nelvo'
MAIN_IFACE = 'io.nelvo.Nelvo1'
SYSTEM_BUS = False

STATUS = '''ret = {
    "state": dbus.Int32(2),
    "armed": True,
    "description": "Armed",
    "cameras": dbus.Array([dbus.Dictionary({
        "name": "Cam\\nState: unarmed\\x1b[2J",
        "motionPeak": 31.0,
        "motionThreshold": 50.0,
        "motionTriggerEnabled": True}, signature="sv")], signature="v"),
    "microphone": dbus.Dictionary({
        "name": "Mic\\x1b]0;owned\\x07",
        "soundPeak": 12.0,
        "soundThreshold": 40.0,
        "soundTriggerEnabled": True}, signature="sv"),
}'''


def load(mock, parameters):
    mock.AddMethods(MAIN_IFACE, [
        ('Arm', '', 'sb', 'ret = ("Nelvo is arming.", True)'),
        ('Disarm', '', 'sb',
         'raise dbus.exceptions.DBusException("Nelvo is busy finishing a movie", '
         'name="org.freedesktop.DBus.Error.Failed")'),
        ('SetFocus', 'b', 's', 'time.sleep(15); ret = "Armed"'),
        ('GetStatus', '', 'a{sv}', STATUS),
    ])
    mock.AddProperty(MAIN_IFACE, 'ArmedState',
                     dbus.Struct((dbus.Int32(2), 'Armed'), signature='is'))
