// Text pieces of MGraph's figures that do not depend on a server: the escaped caption and the time
// stamp of the footer.
#pragma once

#include <ctime>
#include <string>

namespace VELA::internal {

// Each backslash doubled and a backslash put before each underscore (the labels are TeX); null gives "".
std::string EscapeCaption(const char* caption);

// "[<date> @ <time>]" for local time `t`: the time as "%I:%M:%S" with "am" or "pm" appended (by the
// first letter of "%p") and a leading zero dropped, the date as "%d-%b-%y" with a leading zero
// dropped, e.g. "[5-Nov-26 @ 3:04:05pm]".
std::string FormatTimeStamp(const std::tm& t);

}  // namespace VELA::internal
