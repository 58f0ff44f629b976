#include "Error.h"

#include <cstring>

Error Error::posix(int errnoValue, const QString& description) {
    return Error{
        posixDomain, errnoValue,
        description.isEmpty() ? QString::fromLocal8Bit(std::strerror(errnoValue)) : description,
        nullptr};
}

Error Error::withUnderlying(Error cause) const {
    Error copy = *this;
    copy.underlying = std::make_shared<const Error>(std::move(cause));
    return copy;
}
