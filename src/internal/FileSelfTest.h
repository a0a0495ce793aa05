// The file cases of the containers' self-tests: a text round trip (Dump to a file, Import) and a binary
// one (Store, Load into a vector of larger capacity). Files go to the current directory under the
// class's name and are removed afterwards; any exception counts as a failed case.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>

#include "infra/UnitTestRecorder.h"
#include "math/VELAError.h"

namespace VELA::internal {

// Dump(path, false) then Import(path, hasIndex); passes when IsEqual(v, tolerance) holds. "Import/Dump".
template <class V, class Tol>
void RecordTextRoundTrip(UnitTestRecorder& recorder, const char* cls, const V& v, Tol tolerance,
                         bool hasIndex) {
    const std::string path = std::string(cls) + "UnitTest.txt";
    bool passed = false;
    try {
        v.Dump(path.c_str(), false);
        V back;
        back.Import(path.c_str(), hasIndex);
        passed = back.IsEqual(v, tolerance);
    } catch (const VELAException&) {
    }
    std::remove(path.c_str());
    recorder.AddTestRecord(cls, "Import/Dump", passed);
}

// Store(path) then Load(path) into a vector of capacity 100: the same bytes and the capacity kept.
// "Store/Load".
template <class V>
void RecordBinaryRoundTrip(UnitTestRecorder& recorder, const char* cls, const V& v) {
    const std::string path = std::string(cls) + "UnitTest.bin";
    bool passed = false;
    try {
        v.Store(path.c_str());
        V back(100);
        back.Load(path.c_str());
        const size_t bytes = sizeof(v[0]) * static_cast<size_t>(v.GetSize());
        passed = back.GetSize() == v.GetSize() && back.GetCapacity() == 100 &&
                 (bytes == 0 || std::memcmp(back.Data(), v.Data(), bytes) == 0);
    } catch (const VELAException&) {
    }
    std::remove(path.c_str());
    recorder.AddTestRecord(cls, "Store/Load", passed);
}

}  // namespace VELA::internal
