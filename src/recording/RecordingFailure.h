#pragma once

#include "Error.h"

#include <QString>

// Why recordings are not being saved, in the four classes the user can act
// on. Behaves like the enumeration it wraps (compare and switch on the cases)
// and carries the classification and the popover sentence.
class RecordingFailure {
public:
    // Stored raw order; do not reorder.
    enum Case : int { diskFull = 0, destinationMissing = 1, notPermitted = 2, other = 3 };

    constexpr RecordingFailure(Case value) : value_(value) {}
    constexpr operator Case() const { return value_; }
    constexpr Case value() const { return value_; }

    // The class of the error a recording ended with. Never fails: anything
    // not recognised, at any depth of underlying errors, is `other`.
    static RecordingFailure classify(const Error& error);

    // The popover sentence for `count` failed recordings in a row.
    static QString noticeText(qint64 count, RecordingFailure failure);

private:
    Case value_;
};
