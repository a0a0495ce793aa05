// The input of one fuzzing run as a file: the readers take paths and open them themselves. An anonymous
// in-memory file (memfd) is made once per process and refilled for each run; readers open it through
// its /proc path, each open with its own offset, as they would open a file on disk.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

class InputFile {
  public:
    InputFile() {
        fd_ = memfd_create("corvane-fuzz", 0);
        if (fd_ < 0) {
            std::perror("memfd_create");
            std::abort();
        }
        path_ = "/proc/self/fd/" + std::to_string(fd_);
    }
    // Replaces the file's contents with `data`.
    const char* Fill(const uint8_t* data, size_t size) {
        if (ftruncate(fd_, 0) != 0) std::abort();
        size_t done = 0;
        while (done < size) {
            const ssize_t w = pwrite(fd_, data + done, size - done, static_cast<off_t>(done));
            if (w <= 0) std::abort();
            done += static_cast<size_t>(w);
        }
        return path_.c_str();
    }

  private:
    int fd_;
    std::string path_;
};

// Reads little-endian integers from the front of the input, zero once it is used up.
class Params {
  public:
    Params(const uint8_t*& data, size_t& size, size_t bytes) : p_(data), n_(size < bytes ? size : bytes) {
        data += n_;
        size -= n_;
    }
    int32_t Int() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i)
            v |= static_cast<uint32_t>(Byte()) << (8 * i);
        return static_cast<int32_t>(v);
    }
    uint8_t Byte() {
        if (at_ >= n_) return 0;
        return p_[at_++];
    }

  private:
    const uint8_t* p_;
    size_t n_;
    size_t at_ = 0;
};

}  // namespace fuzz
