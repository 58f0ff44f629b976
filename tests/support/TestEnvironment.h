#pragma once

#include <QString>
#include <QTemporaryDir>

// Gives a test its own HOME, XDG folders and runtime folder so it never
// touches the user's settings, recordings or desktop services. Create it
// before anything reads a standard path or connects to a bus, and before a
// PrivateBus, which then points the session bus at itself.
class TestEnvironment {
public:
    TestEnvironment();
    const QString& home() const { return home_; }
    QString settingsFilePath() const;

private:
    QTemporaryDir dir_;
    QString home_;
};
