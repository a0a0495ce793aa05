// Where the self-tests find their reference files. Internal to the library's sources: not installed.
//
// The files (a test record and its reference output, for instance) are installed with the library
// under <datadir>/corvane/testdata, "share/corvane/testdata" beside "lib" and "bin" by default, and the
// build tree keeps a copy at the same place relative to its own binaries. They are looked up relative
// to the module that holds this code, whichever it is: the shared library (a self-test host linking
// it), or a program with the library linked in statically (the test suite). Nothing depends on the
// working directory or the environment, so an installed self-test host finds the installed files from
// anywhere, and a build tree finds its own copy.
#pragma once

#include <string>

namespace VELA::testdata {

// Directory of the module (shared library or program) that holds this code, without a trailing "/";
// empty if it cannot be told.
std::string ModuleDirectory();

// Full path of the reference file `name`: the first existing one among the places above, or empty
// when none exists.
std::string Find(const char* name);

// The places Find looks, in order, separated by "; " (for messages).
std::string SearchPath();

}  // namespace VELA::testdata
