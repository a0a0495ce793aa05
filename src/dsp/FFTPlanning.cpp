#include "FFTPlanning.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "kernel/FFTPlan.h"
#include "math/VELAError.h"

namespace VELA {

void FFTPlanning::SetRigour(FFTPlanningRigour rigour, double secondsPerPlan) {
    if (static_cast<int32_t>(rigour) < FFTPlanningAutomatic ||
        static_cast<int32_t>(rigour) > FFTPlanningMeasureDirect || !std::isfinite(secondsPerPlan) ||
        secondsPerPlan < 0)
        VELA_THROW(VELAErrorInvalidInputParameter);
    kern::SetFFTPlannerRigour(static_cast<kern::FFTRigour>(rigour), secondsPerPlan);
}

FFTPlanningRigour FFTPlanning::GetRigour() {
    return static_cast<FFTPlanningRigour>(kern::GetFFTPlannerRigour());
}

double FFTPlanning::GetSecondsPerPlan() {
    const double t = kern::GetFFTPlannerTimeLimit();
    return t > 0 ? t : 0;
}

std::string FFTPlanning::ExportWisdom() {
    return kern::FFTExportWisdom();
}

bool FFTPlanning::ImportWisdom(const std::string& text) {
    return kern::FFTImportWisdom(text);
}

bool FFTPlanning::ExportWisdomToFile(const std::string& path) {
    if (path.empty()) return false;
    const std::string text = kern::FFTExportWisdom();
    const std::string temp = path + ".partial";
    {
        std::ofstream f(temp, std::ios::binary | std::ios::trunc);
        if (!f) return false;
        f << text;
        f.flush();
        if (!f) {
            f.close();
            std::remove(temp.c_str());
            return false;
        }
    }
    if (std::rename(temp.c_str(), path.c_str()) != 0) {
        std::remove(temp.c_str());
        return false;
    }
    return true;
}

bool FFTPlanning::ImportWisdomFromFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    if (!f) return false;
    // Wisdom of every length a process could plan is a few hundred kilobytes; a file far beyond that is
    // not wisdom, and is refused before it is read into memory.
    f.seekg(0, std::ios::end);
    const std::streamoff size = f.tellg();
    if (size < 0 || size > (std::streamoff{64} << 20)) return false;
    f.seekg(0, std::ios::beg);
    std::string text(static_cast<size_t>(size), '\0');
    if (size > 0 && !f.read(text.data(), size)) return false;
    return kern::FFTImportWisdom(text);
}

bool FFTPlanning::ImportSystemWisdom() {
    return kern::FFTImportSystemWisdom();
}

void FFTPlanning::ForgetWisdom() {
    kern::FFTForgetWisdom();
}

}  // namespace VELA
