#include "VideoBandwidth.h"

#include <climits>
#include <cmath>

#include "../math/MathUtils.h"

namespace VELA {

namespace {

const double kSigmaCoef1[] = {-3.0172699632751767, 16.97681133040243,  -35.70543261937426,
                              34.37682408531161,   -13.63486655806543, 5.875083221318261};
const double kSigmaCoef2[] = {2360.0777605615863,  -3167.1218838334507, 1562.5810314084906,
                              -355.94700111743293, 43.54864454427097,   0.2129877165958531};
const double kRatioCoef1[] = {-0.1444220665677666, 4.579597973131627, -62.03116852778941, 465.2492595223047,
                              -2086.8327771309146, 5598.063604122364, -8316.789500170375, 5280.867054608582};
const double kRatioCoef2[] = {0.7257993366853106, -8.06596313681175, 34.68617092562754, -69.92148442977329,
                              58.83026987780643};

double Evaluate(const VecReal64& coef, double x) {
    double y = 0;
    MathUtils::Polyval(y, x, coef);
    return y;
}

}  // namespace

VideoBandwidth::VideoBandwidth() {
    m_sigmaCoef1.Import(kSigmaCoef1, 6);
    m_sigmaCoef2.Import(kSigmaCoef2, 6);
    m_ratioCoef1.Import(kRatioCoef1, 8);
    m_ratioCoef2.Import(kRatioCoef2, 5);
}

double VideoBandwidth::GetSigma(const VecReal64& coef1, const VecReal64& coef2, double threshold,
                                double ratio) {
    if (ratio < 0.0004) return 9.3 * std::sqrt(ratio);
    if (ratio >= threshold) return Evaluate(coef1, ratio);
    return Evaluate(coef2, ratio);
}

double VideoBandwidth::GetRatio(const VecReal64& coef1, const VecReal64& coef2, double sigma) {
    if (sigma > 5.2) return 1.0;
    if (sigma < 1.4) return std::trunc(18.9225 / sigma / sigma + 0.5);
    if (sigma <= 3.45) return Evaluate(coef2, sigma);
    return Evaluate(coef1, sigma);
}

double VideoBandwidth::GetSamples(double ratio) const {
    return GetRatio(m_ratioCoef1, m_ratioCoef2, GetSigma(m_sigmaCoef1, m_sigmaCoef2, 0.5, ratio));
}

int VideoBandwidth::GetSamples(double ratio, int samples) const {
    const double n = std::trunc(GetSamples(ratio) * samples + 0.5);
    // Outside the fitted range the factor can be huge or not a number; converting such a value to int
    // would be undefined, so it saturates (and NaN gives 0).
    if (std::isnan(n)) return 0;
    if (n >= static_cast<double>(INT_MAX)) return INT_MAX;
    if (n <= static_cast<double>(INT_MIN)) return INT_MIN;
    return static_cast<int>(n);
}

}  // namespace VELA
