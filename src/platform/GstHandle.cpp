#include "GstHandle.h"

#include <mutex>

namespace Gst {

void ensureInitialised() {
    static std::once_flag once;
    std::call_once(once, [] { gst_init(nullptr, nullptr); });
}

}  // namespace Gst
