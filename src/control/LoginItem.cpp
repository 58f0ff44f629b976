#include "LoginItem.h"

LoginItem::State LoginItem::state() const {
    switch (service_.status()) {
        case LoginItemService::Status::enabled:
            return State::on;
        case LoginItemService::Status::requiresApproval:
            return State::needsApproval;
        case LoginItemService::Status::notRegistered:
        case LoginItemService::Status::notFound:
            return State::off;
    }
    return State::off;
}

std::pair<LoginItem::State, std::optional<Error>> LoginItem::set(bool enabled) {
    std::optional<Error> error = enabled ? service_.registerItem() : service_.unregisterItem();
    return {state(), std::move(error)};
}
