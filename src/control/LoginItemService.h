#pragma once

#include "Error.h"

#include <optional>

// The system's registration of Nelvo to open at login.
class LoginItemService {
public:
    // In the order of the platform's raw numbers 0...3.
    enum class Status { notRegistered = 0, enabled = 1, requiresApproval = 2, notFound = 3 };

    virtual ~LoginItemService() = default;
    virtual Status status() const = 0;
    // Each answers the error that stopped it, if any.
    virtual std::optional<Error> registerItem() = 0;
    virtual std::optional<Error> unregisterItem() = 0;
};
