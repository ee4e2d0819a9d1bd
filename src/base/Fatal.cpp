#include "base/Fatal.h"

#include <cstdio>
#include <cstdlib>

namespace parvel {

void fatalError(std::string_view reason) {
    std::fprintf(stderr, "Fatal error: %.*s\n", static_cast<int>(reason.size()), reason.data());
    std::abort();
}

}  // namespace parvel
