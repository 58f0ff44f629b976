#pragma once

// `nelvo arm|disarm|status|test|focus on|off|watch`: a client of the running
// Nelvo, over its scripting interface on the session bus. Each verb prints
// Nelvo's answer; `--json` makes `status` and `watch` machine-readable, and
// `test --verify` reads the test's movies back and judges them. A verb never
// starts Nelvo.
namespace ScriptingCommand {

// Exit statuses: done; refused by Nelvo (or, verified, a movie that is not
// sound); no Nelvo to ask (or wrong arguments); Nelvo did not answer in time;
// the bus refused the call; Nelvo answered with an error.
constexpr int done = 0;
constexpr int refused = 1;
constexpr int notRunning = 2;
constexpr int timedOut = 3;
constexpr int accessDenied = 4;
constexpr int failed = 5;

bool isRequested(int argc, char** argv);
// Runs the command in place of the application; returns the exit status.
int run(int argc, char** argv);

}  // namespace ScriptingCommand
