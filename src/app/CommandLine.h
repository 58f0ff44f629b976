#pragma once

#include "AppDelegate.h"

#include <QStringList>
#include <optional>

// Nelvo's command line: what one run is asked to do, or why Nelvo cannot
// follow it.
class CommandLine {
public:
    // Exit status of a run refused for its command line.
    static constexpr int badCommandLine = 2;

    // Reads the arguments (the program's name first). Prints help or the
    // version and exits, as asked.
    explicit CommandLine(const QStringList& arguments);

    // Whether `--headless` is among the arguments, before any application
    // object exists to read them with.
    static bool asksForHeadless(int argc, char** argv);
    static QString usage();
    // The verbs that drive a running Nelvo, for --help and the manual page.
    static QString commandsText();

    const AppDelegate::Options& options() const { return options_; }
    bool headless() const { return headless_; }
    // Why these arguments cannot be followed; nothing when they can.
    const std::optional<QString>& problem() const { return problem_; }

private:
    AppDelegate::Options options_;
    bool headless_ = false;
    std::optional<QString> problem_;
};
