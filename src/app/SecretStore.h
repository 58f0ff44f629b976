#pragma once

#include "NetworkCameraLink.h"

#include <QString>
#include <optional>

// Network cameras' user names and passwords in the desktop's secret service
// (libsecret), one item per camera ID, labelled with the camera's address.
// The secret is the user name and the password together; neither is ever
// written anywhere else.
namespace SecretStore {

// The camera's credentials; nothing when none are stored or no secret
// service answers.
std::optional<NetworkCredentials> lookup(const QString& cameraID);
// False when no secret service took them.
bool store(const QString& cameraID, const QString& label, const NetworkCredentials& credentials);

}  // namespace SecretStore
