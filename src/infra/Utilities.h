// Utilities: two small file helpers, the path of a data file relative to the running program and a
// time stamp line.
#pragma once
#include "../math/VELAExport.h"

#include <cstdio>

namespace VELA {

class VELA_API Utilities {
  public:
    // The absolute form of `path`, as a new string that the caller releases with free() (null only when
    // no memory is left).
    //
    // A path that begins with "/" or "\", or has ":" as its second character, is already absolute and
    // comes back unchanged. Any other path is taken relative to the parent of the directory that holds
    // the running program (/proc/self/exe), so that data files are found from the program wherever the
    // current directory is: each leading "../" or "..\" climbs one level more, and the rest is appended
    // after a "/". Both separators are accepted and the result uses "/" throughout.
    //
    // A leading ".." step is removed up to the first backslash anywhere in the remaining path, or only
    // when it has none up to the first slash, so that "../d\e" drops "d" as well; mixed paths are
    // expected to use one separator. Climbing above the root stops at the root.
    static char* GetAbsolutePath(const char* path);

    // Writes the local time as asctime() text followed by " \n" to `stream` (so a date line and a line
    // holding one blank); a null stream does nothing. Safe to call from any thread.
    static void TimeStamp(std::FILE* stream);
};

}  // namespace VELA
