#pragma once

// `nelvo timelapse`: makes the time-lapse of the last armed stretch from the
// stored settings and the recordings folder, without the running
// application, printing its progress on one line and then the movie's path.
namespace TimeLapseCommand {

// Exit statuses besides 0 (done) and 2 (wrong arguments).
constexpr int noStretch = 1;
constexpr int nothingReadable = 3;
constexpr int couldNotWrite = 4;

bool isRequested(int argc, char** argv);
// Runs the command in place of the application; returns the exit status.
int run(int argc, char** argv);

}  // namespace TimeLapseCommand
