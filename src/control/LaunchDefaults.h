#pragma once

class Defaults;

// The settings every launch starts from: registered defaults (used only where
// the user has no value) and the values written once, at the first launch.
namespace LaunchDefaults {

void registerDefaults(Defaults& defaults);

// Writes the first-launch values when this is the first launch; returns
// whether it was.
bool writeFirstLaunchValues(Defaults& defaults);

}  // namespace LaunchDefaults
