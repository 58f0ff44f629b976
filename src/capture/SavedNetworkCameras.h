#pragma once

#include <QString>
#include <optional>
#include <vector>

class Defaults;

// A network camera added in Settings. Its user name and password are not
// here: they live in the secret service under the camera's ID.
struct SavedNetworkCamera {
    QString uniqueID;  // NetworkCameraUrl::uniqueID of its address
    QString name;
    QString address;  // without user name and password
    // When it was last saved: a camera saved again (perhaps with a new
    // password) is connected anew.
    QString savedAt;

    bool operator==(const SavedNetworkCamera&) const = default;
};

// The network cameras added in Settings, kept under "networkCameras".
class SavedNetworkCameras {
public:
    static std::vector<SavedNetworkCamera> read(const Defaults& defaults);
    static std::optional<SavedNetworkCamera> find(const Defaults& defaults,
                                                  const QString& uniqueID);
    // Adds the camera, or replaces the one with its ID; stamps savedAt.
    static void save(Defaults& defaults, SavedNetworkCamera camera);
    static void remove(Defaults& defaults, const QString& uniqueID);

private:
    static void write(Defaults& defaults, const std::vector<SavedNetworkCamera>& cameras);
};
