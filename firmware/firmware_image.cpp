#include "firmware/firmware_image.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KavixD.h"

namespace kavix::firmware {

namespace {

uint32_t error_of_errno(int error) {
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            return KAVIX_ERROR_FILE_NOT_FOUND;
        case EACCES:
        case EPERM:
            return KAVIX_ERROR_ACCESS_DENIED;
        case ENOMEM:
            return KAVIX_ERROR_NOT_ENOUGH_MEMORY;
        default:
            return KAVIX_ERROR_GEN_FAILURE;
    }
}

// Closes the descriptor on every way out.
class File {
public:
    explicit File(int fd) : fd_(fd) {}
    ~File() {
        if (fd_ >= 0) ::close(fd_);
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    int fd() const { return fd_; }

private:
    int fd_;
};

}  // namespace

uint16_t resource_id_for_model(uint16_t product_id) {
    switch (product_id) {
        case 0x0305: return 133;
        case 0x0605: return 128;
        case 0x0705: return 131;
        default: return 130;
    }
}

std::string image_path(const std::string &directory, uint16_t resource_id) {
    std::string path = directory;
    if (!path.empty() && path.back() != '/') path += '/';
    path += std::to_string(resource_id);
    path += ".hex";
    return path;
}

uint32_t load_image(const std::string &directory, uint16_t resource_id, std::vector<char> &text,
                    uint32_t &length) {
    length = 0;
    text.assign(kImageBufferBytes, 0);
    const File file(::open(image_path(directory, resource_id).c_str(), O_RDONLY | O_CLOEXEC));
    if (file.fd() < 0) return error_of_errno(errno);
    struct stat info {};
    if (::fstat(file.fd(), &info) != 0) return error_of_errno(errno);
    // A directory or a device under that name is no image.
    if (!S_ISREG(info.st_mode)) return KAVIX_ERROR_FILE_NOT_FOUND;
    if (info.st_size >= static_cast<off_t>(kImageBufferBytes)) {
        return KAVIX_ERROR_NOT_ENOUGH_MEMORY;
    }
    const auto size = static_cast<size_t>(info.st_size);
    size_t done = 0;
    while (done < size) {
        const ssize_t got = ::read(file.fd(), text.data() + done, size - done);
        if (got < 0) {
            if (errno == EINTR) continue;
            return error_of_errno(errno);
        }
        if (got == 0) break;  // the file shrank under us: take what is there
        done += static_cast<size_t>(got);
    }
    length = static_cast<uint32_t>(done);
    return 0;
}

}  // namespace kavix::firmware
