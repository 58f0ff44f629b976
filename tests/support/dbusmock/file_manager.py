"""The desktop's file manager as applications reach it: org.freedesktop.FileManager1.

It only records what it was asked to show; dbusmock's call log is what a test reads.
"""

BUS_NAME = "org.freedesktop.FileManager1"
MAIN_OBJ = "/org/freedesktop/FileManager1"
MAIN_IFACE = "org.freedesktop.FileManager1"
SYSTEM_BUS = False


def load(mock, parameters):
    mock.AddMethods(
        MAIN_IFACE,
        [
            ("ShowItems", "ass", "", ""),
            ("ShowFolders", "ass", "", ""),
            ("ShowItemProperties", "ass", "", ""),
        ],
    )
