// Plain stdio helpers behind the text file forms of the containers: the console print of the first and
// last elements, and the two-pass reader of `Import`.
//
// Nothing here throws or opens a file: the callers open, close and throw, so that an exception names the
// source of the class it belongs to.
#pragma once

#include <climits>
#include <cstdint>
#include <cstdio>

namespace VELA::internal {

// Closes a stream when the scope ends, also when an exception passes; Release() keeps it open.
class FileCloser {
  public:
    explicit FileCloser(std::FILE* f) : f_(f) {}
    FileCloser(const FileCloser&) = delete;
    FileCloser& operator=(const FileCloser&) = delete;
    ~FileCloser() {
        if (f_) std::fclose(f_);
    }
    void Release() { f_ = nullptr; }

  private:
    std::FILE* f_;
};

// Prints element i with `print(i)` for every i below `size`; when there are more than 2 * n elements
// only the first n and the last n, around `dots`. `head` prints the first n of a shortened print (one
// class uses another format there); it defaults to `print`.
template <class Print, class Head>
void DumpHeadTail(int size, int n, const char* dots, Print print, Head head) {
    if (static_cast<int64_t>(size) > 2 * static_cast<int64_t>(n)) {
        for (int i = 0; i < n; ++i)
            head(i);
        std::fputs(dots, stdout);
        for (int i = size - n; i < size; ++i)
            print(i);
    } else {
        for (int i = 0; i < size; ++i)
            print(i);
    }
}
template <class Print>
void DumpHeadTail(int size, int n, const char* dots, Print print) {
    DumpHeadTail(size, n, dots, print, print);
}

// One fscanf call with `fields` (1 to 3) outputs; returns what fscanf returns.
template <class S>
int ScanFields(std::FILE* f, const char* format, int fields, S* v) {
    switch (fields) {
        case 1:
            return std::fscanf(f, format, &v[0]);
        case 2:
            return std::fscanf(f, format, &v[0], &v[1]);
        default:
            return std::fscanf(f, format, &v[0], &v[1], &v[2]);
    }
}

// The two passes of a text import. Pass one counts the records of `format` that parse completely and
// stops at the first that does not; then `resize(count)`, a rewind, and pass two hands each record to
// `store(i, fields)` until `count` records are stored or a record fails (the file changed in between).
// Returns the number of records stored, or -1 (nothing stored, no resize) for a file of more records
// than an int counts.
template <class S, class Resize, class Store>
int ImportRecords(std::FILE* f, const char* format, int fields, Resize resize, Store store) {
    S v[3] = {};
    int64_t count = 0;
    while (ScanFields(f, format, fields, v) == fields)
        if (++count > INT_MAX) return -1;
    resize(static_cast<int>(count));
    std::rewind(f);
    int stored = 0;
    while (stored < count && ScanFields(f, format, fields, v) == fields)
        store(stored++, v);
    return stored;
}

}  // namespace VELA::internal
