#pragma once

#include <QString>
#include <memory>

// Keeps the computer from idle sleep while an inhibition object lives.
// Destroying the inhibition lets the computer sleep again.
class SleepInhibitor {
public:
    class Inhibition {
    public:
        virtual ~Inhibition() = default;
    };

    virtual ~SleepInhibitor() = default;

    // Begins an inhibition shown to the user with `reason`. Answers nothing
    // when the system offers no way to keep awake.
    virtual std::unique_ptr<Inhibition> begin(const QString& reason) = 0;
};
