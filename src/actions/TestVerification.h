#pragma once

#include <QDBusConnection>

// `nelvo test --verify`: asks the running Nelvo for a test recording as
// `nelvo test` does, waits for the test to end, reads each movie it wrote back
// and prints the verdict (TestVerdict). The exit status is 0 when every movie
// is sound and 1 when one is not, or the command's usual failure statuses.
namespace TestVerification {

int run(const QDBusConnection& bus);

}  // namespace TestVerification
