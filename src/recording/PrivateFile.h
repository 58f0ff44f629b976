#pragma once

#include <QString>

// Every file Nelvo writes into the recordings folder (movies, stills,
// time-lapses and their work files) is made here. Others may be able to write
// in that folder: a file is only ever created new, never opened when
// something is already at its name, and never through a symbolic link, and it
// is its owner's alone (0600) from the moment it exists.
namespace PrivateFile {

// Creates the file for writing; the descriptor (close-on-exec), or -1 with
// errno set (EEXIST when anything, a link included, is at the path).
int create(const QString& path);

// Gives a finished work file its name in the same folder without replacing
// anything there; errno is set when it returns false.
bool moveIntoPlace(const QString& workPath, const QString& path);

}  // namespace PrivateFile
