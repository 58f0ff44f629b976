#pragma once

#include <QString>

// How the recordings folder stands, as the Settings pane shows it. Equal
// when the cases and all their folders are equal.
class FolderState {
public:
    enum class Case { inUse, fellBack, notWritable };

    // Recordings go to this folder, and it can be written.
    static FolderState inUse(QString folder) { return {Case::inUse, std::move(folder), {}}; }
    // The chosen folder cannot be reached, so recordings go to the default
    // folder (`using`) for now.
    static FolderState fellBack(QString using_, QString chosen) {
        return {Case::fellBack, std::move(using_), std::move(chosen)};
    }
    // Recordings go to this folder, but it cannot be written.
    static FolderState notWritable(QString folder) {
        return {Case::notWritable, std::move(folder), {}};
    }

    Case kind() const { return kind_; }
    // The folder recordings go to (the default folder after a fallback).
    const QString& folder() const { return folder_; }
    // The chosen folder that cannot be reached; empty unless fellBack.
    const QString& chosen() const { return chosen_; }

    friend bool operator==(const FolderState&, const FolderState&) = default;

private:
    FolderState(Case kind, QString folder, QString chosen)
        : kind_(kind), folder_(std::move(folder)), chosen_(std::move(chosen)) {}

    Case kind_;
    QString folder_;
    QString chosen_;
};
