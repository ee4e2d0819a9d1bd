#include "base/Error.h"

#include <cstring>

namespace parvel {

Error posixError(int errnoValue) {
    return Error{std::string(kPosixErrorDomain), errnoValue, std::strerror(errnoValue)};
}

}  // namespace parvel
