#pragma once

#include "NetworkCameraLink.h"

#include <QString>
#include <optional>

// The network camera of the command line (`--camera-url`) and where its user
// name and password come from: a file named by `--credentials-file`, which
// must be private to its owner (mode 0600), else the desktop's secret
// service. Never the command line itself, where every user of the computer
// could read them.
class NetworkCameraLogin {
public:
    // Why Nelvo cannot watch this camera, as the one line that refuses it;
    // nothing when it can, with the credentials found in `credentials`.
    static std::optional<QString> problem(const QString& url, const QString& credentialsFile,
                                          NetworkCredentials* credentials);

    // Reads "user=NAME" and "password=SECRET" lines (blank lines and lines
    // starting with # are skipped). Why it cannot, or nothing.
    static std::optional<QString> readFile(const QString& path, NetworkCredentials* credentials);
};
