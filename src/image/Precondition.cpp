#include "Precondition.h"

#include <cstdio>
#include <cstdlib>

namespace kq::image {

void PreconditionFailed(const char* routine, int line, const char* expression) {
    std::fprintf(stderr, "%s: Common/Image/ImageConvert:%d: assertion failed: %s\n", routine, line,
                 expression);
    std::abort();
}

} // namespace kq::image
