#pragma once

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>

// The bytes libFuzzer hands a target, as Nelvo's parsers receive outside
// input: raw data, or text decoded from UTF-8 as a file name or a setting is.
namespace FuzzInput {

inline QByteArray bytes(const std::uint8_t* data, std::size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), qsizetype(size));
}

inline QString text(const std::uint8_t* data, std::size_t size) {
    return QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
}

}  // namespace FuzzInput
