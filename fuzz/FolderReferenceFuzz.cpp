// The stored reference to the chosen recordings folder.
#include "FolderReference.h"
#include "FuzzInput.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::optional<FolderReference> reference =
        FolderReference::fromData(FuzzInput::bytes(data, size));
    if (!reference) {
        return 0;
    }
    reference->resolve();
    // A reference that reads is stored and read back unchanged.
    if (FolderReference::fromData(reference->data()) != reference) {
        std::abort();
    }
    return 0;
}
