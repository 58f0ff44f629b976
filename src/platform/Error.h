#pragma once

#include <QString>
#include <memory>

// An error as Nelvo passes it between its parts: where it comes from
// (domain), a code within that domain, a readable description and optionally
// the error that caused it. Recording failures are classified from these.
struct Error {
    QString domain;
    long long code = 0;
    QString description;
    std::shared_ptr<const Error> underlying;

    // Domains Nelvo produces or passes on.
    static inline const QString posixDomain = QStringLiteral("posix");  // errno values
    static inline const QString gstResourceDomain =
        QStringLiteral("gst-resource");                                          // GstResourceError
    static inline const QString gstStreamDomain = QStringLiteral("gst-stream");  // GstStreamError
    static inline const QString fileDomain = QStringLiteral("nelvo-file");       // file service
    static inline const QString writerDomain =
        QStringLiteral("nelvo-movie-writer");  // movie writer

    static Error posix(int errnoValue, const QString& description = {});

    Error withUnderlying(Error cause) const;
};
