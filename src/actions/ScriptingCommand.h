#pragma once

// `nelvo arm|disarm|status|test|focus on|off|watch`: a client of the running
// Nelvo, over its scripting interface on the session bus. Each verb prints
// Nelvo's answer; `--json` makes `status` and `watch` machine-readable.
namespace ScriptingCommand {

// Exit statuses: done, refused by Nelvo, no Nelvo to ask (or wrong arguments).
constexpr int done = 0;
constexpr int refused = 1;
constexpr int notRunning = 2;

bool isRequested(int argc, char** argv);
// Runs the command in place of the application; returns the exit status.
int run(int argc, char** argv);

}  // namespace ScriptingCommand
