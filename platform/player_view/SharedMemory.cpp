#include "SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace kq::playerview {

std::uint8_t* MapSharedMemory(std::size_t bytes, int& fd) {
    fd = memfd_create("kqplayer-picture", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0) {
        return nullptr;
    }
    // Claimed now, because a write to memory that cannot be had later would be a SIGBUS. Sealed, so that the
    // other process, too, can rely on it. Mapped as a whole: page by page it would be done while a picture is
    // made.
    void* const pixels =
        posix_fallocate(fd, 0, static_cast<off_t>(bytes)) == 0 && fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK) == 0
            ? mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd, 0)
            : MAP_FAILED;
    if (pixels == MAP_FAILED) {
        close(fd);
        return nullptr;
    }
    return static_cast<std::uint8_t*>(pixels);
}

} // namespace kq::playerview
