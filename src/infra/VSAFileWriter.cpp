#include "VSAFileWriter.h"

#include <matio.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "MatFileWriter.h"
#include "UnitTestRecorder.h"
#include "math/Vector.h"

namespace VELA {

VSAFileWriter::VSAFileWriter(const char* fileName)
    : matFileWriter(new (std::nothrow) MatFileWriter(fileName)) {}

VSAFileWriter::~VSAFileWriter() noexcept(false) {
    MatFileWriter* writer = matFileWriter;
    matFileWriter = nullptr;
    delete writer;  // completes the file, or throws "error closing file"
}

void VSAFileWriter::WriteFile(double centerFrequency, double sampleRate, const VecCplx32& data) {
    if (!matFileWriter) VELA_THROW(VELAErrorMemoryAlloc);
    inputZoom.Resize(1);
    inputZoom[0] = 1;
    matFileWriter->WriteVector("InputZoom", inputZoom);
    matFileWriter->WriteScalar("InputCenter", centerFrequency);
    matFileWriter->WriteScalar("XDelta", 1.0 / sampleRate);
    matFileWriter->WriteVector("Y", data);
}

namespace {

// Reads variable `name` of `mat` whole; null when it is missing.
struct VarFree {
    void operator()(matvar_t* v) const { Mat_VarFree(v); }
};

bool IsColumn(const matvar_t* v, size_t rows) {
    return v->rank == 2 && v->dims[0] == rows && v->dims[1] == 1;
}

// Checks the recording `path` against what the self-test wrote: the four variables in their order, with
// their classes, shapes and values.
bool CheckRecording(const char* path, const VecCplx32& y, double center, double delta) {
    mat_t* mat = Mat_Open(path, MAT_ACC_RDONLY);
    if (!mat) return false;
    const char* const order[4] = {"InputZoom", "InputCenter", "XDelta", "Y"};
    bool ok = true;
    for (int k = 0; k < 4 && ok; ++k) {
        std::unique_ptr<matvar_t, VarFree> v(Mat_VarReadNext(mat));
        ok = v && v->name && std::strcmp(v->name, order[k]) == 0;
        if (!ok) break;
        switch (k) {
            case 0:
                ok = v->class_type == MAT_C_UINT8 && !v->isComplex && IsColumn(v.get(), 1) &&
                     static_cast<const unsigned char*>(v->data)[0] == 1;
                break;
            case 1:
            case 2: {
                const double expected = k == 1 ? center : delta;
                ok = v->class_type == MAT_C_DOUBLE && !v->isComplex && IsColumn(v.get(), 1) &&
                     static_cast<const double*>(v->data)[0] == expected;
                break;
            }
            default: {
                ok = v->class_type == MAT_C_SINGLE && v->isComplex &&
                     IsColumn(v.get(), static_cast<size_t>(y.GetSize()));
                if (!ok) break;
                const auto* z = static_cast<const mat_complex_split_t*>(v->data);
                const float* re = static_cast<const float*>(z->Re);
                const float* im = static_cast<const float*>(z->Im);
                for (int i = 0; i < y.GetSize() && ok; ++i)
                    ok = re[i] == y[i].re && im[i] == y[i].im;
            }
        }
    }
    if (ok) {
        std::unique_ptr<matvar_t, VarFree> extra(Mat_VarReadNextInfo(mat));
        ok = !extra;
    }
    Mat_Close(mat);
    return ok;
}

}  // namespace

bool VSAFileWriter::UnitTest(UnitTestRecorder& recorder) {
    const char* const path = "test89600.mat";
    const int n = 10000;
    const double step = 0.39269909262657166;  // pi/8 per sample
    bool passed = true;
    try {
        VecCplx32 tone(n);
        for (int k = 0; k < n; ++k)
            tone[k] = {static_cast<float>(std::cos(k * step)), static_cast<float>(std::sin(k * step))};
        {
            VSAFileWriter writer(path);
            writer.WriteFile(1e9, 1e8, tone);
        }
        passed = CheckRecording(path, tone, 1e9, 1.0 / 1e8);
    } catch (const VELAException&) {
        passed = false;
    }
    recorder.AddTestRecord("VSAFileWriter", "Write", passed);
    return true;
}

}  // namespace VELA
