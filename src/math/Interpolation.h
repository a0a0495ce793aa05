// Interpolation of sampled curves: piecewise linear (Interpolation, also the base of the family),
// natural or clamped cubic spline (Spline), nearest knot (NearestInterpolation) and monotone piecewise
// cubic Hermite (CubicHermiteInterpolation, PCHIP with the Fritsch-Butland derivatives), each over
// VecReal32 and VecReal64, and InterpolationFactory.
//
// Common contract:
// - Knots x and values y are passed on every call; nothing about a curve is kept except the slopes,
//   borders, derivatives and spline bracket of the last call and the spline's boundary conditions.
// - The vector forms resize `result` to the number of queries. `result` may be the query vector
//   itself (each query is read before its result is written); it must not be x or y.
// - The scalar forms run the vector form on a one-element vector kept in the object, so each costs a
//   full set-up on all the knots.
// - Outside the knots every method extrapolates with its end piece (linear: the end segments; spline
//   and PCHIP: the end cubics; nearest: the end values).
// - Return codes: VELAErrorNone on success. Linear and nearest need at least two knots and as many
//   values as knots, and answer VELAErrorInvalidInputParameter or VELAErrorSizeMismatch otherwise.
//   Spline: VELAErrorSizeMismatch for x and y of different lengths (and, for historical reasons, when
//   its second-derivative array cannot be allocated), VELAErrorMemoryAlloc when its set-up cannot get
//   its scratch, VELAErrorInvalidInputParameter for fewer than two knots.
//   PCHIP throws "invalid input parameter" for knots that are not strictly ascending, and ends the
//   process for fewer than two knots (see CubicHermiteInterpolation).
//
// Knots that are strictly ascending are located in constant time through a bucket index kept in the
// object (so repeated calls allocate nothing once it has grown); other knots are searched as each
// method's rule states (a scan from the top for linear and nearest), with the same results.
//
// An object holds scratch state and serves one thread at a time. Copies are deep.
#pragma once
#include "VELAExport.h"

#include <cstdint>
#include <vector>

#include "VELAError.h"
#include "Vector.h"

namespace VELA {

class UnitTestRecorder;

// Kinds made by InterpolationFactory::MakeInterpolation.
enum InterpolationType : int32_t {
    InterpolationLinear = 0,
    InterpolationSpline = 1,
    InterpolationNearest = 2,
    InterpolationCubicHermite = 3,
};

// Piecewise linear interpolation, and the interface of the family.
class VELA_API Interpolation {
  public:
    Interpolation() = default;
    Interpolation(const Interpolation&) = default;
    Interpolation& operator=(const Interpolation&) = default;
    virtual ~Interpolation() = default;

    // One query: runs the vector form (through the virtual table) on a one-element vector and returns
    // its element and code. `result` is left as it was when the vector form produced nothing.
    virtual VELAErrorCodeTag Interpolate(double& result, const VecReal64& x, const VecReal64& y,
                                         const double& query);
    virtual VELAErrorCodeTag Interpolate(float& result, const VecReal32& x, const VecReal32& y, float query);
    // Linear: slopes[i] = (y[i+1] - y[i]) / (x[i+1] - x[i]). A query at or below x[0] extrapolates
    // along the first segment, one at or above x[n-1] along the last; otherwise the segment of the
    // largest k with x[k] <= q is used. x is not checked: on unsorted knots that rule is applied as
    // stated (scanning down from the top).
    virtual VELAErrorCodeTag Interpolate(VecReal64& result, const VecReal64& x, const VecReal64& y,
                                         const VecReal64& queries);
    virtual VELAErrorCodeTag Interpolate(VecReal32& result, const VecReal32& x, const VecReal32& y,
                                         const VecReal32& queries);

    // True if every element is strictly greater than the one before. Vectors of 0 or 1 elements pass,
    // and a NaN passes any comparison.
    static bool CheckAscendingOrder(const VecReal32& x);
    static bool CheckAscendingOrder(const VecReal64& x);

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    // Bucket index over strictly ascending knots (see KnotSearch), reused from call to call.
    std::vector<int32_t> knotIndex;

  private:
    void ComputeSlope(VecReal64& result, const VecReal64& x, const VecReal64& y);
    void ComputeSlope(VecReal32& result, const VecReal32& x, const VecReal32& y);

    VecReal64 query64;   // one-element query of the double scalar form
    VecReal64 result64;  // and its result
    VecReal64 spare64a;  // kept and copied with the object; unused
    VecReal64 spare64b;
    VecReal32 query32;   // one-element query of the float scalar form
    VecReal32 result32;  // and its result
    VecReal64 slopes64;
    VecReal32 slopes32;
};

// Value of the nearest knot. borders[i] = (x[i] + x[i+1]) * 0.5; with m = n - 2 the last border, a
// query below borders[0] takes y[0], one above borders[m] takes y[n-1], one equal to borders[m] takes
// y[n-2], and any other the value above the largest border at or below it. So a query exactly on a
// border takes the upper neighbour, except on the last border, where it takes the lower one.
class VELA_API NearestInterpolation : public Interpolation {
  public:
    NearestInterpolation() = default;
    NearestInterpolation(const NearestInterpolation&) = default;
    NearestInterpolation& operator=(const NearestInterpolation&) = default;
    ~NearestInterpolation() override = default;

    using Interpolation::Interpolate;
    VELAErrorCodeTag Interpolate(VecReal64& result, const VecReal64& x, const VecReal64& y,
                                 const VecReal64& queries) override;
    VELAErrorCodeTag Interpolate(VecReal32& result, const VecReal32& x, const VecReal32& y,
                                 const VecReal32& queries) override;

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void ComputeBorder(VecReal64& borders, const VecReal64& x, const VecReal64& y);
    void ComputeBorder(VecReal32& borders, const VecReal32& x, const VecReal32& y);

    VecReal64 borders64;
    VecReal32 borders32;
};

// Cubic spline through the knots, natural (second derivative 0 at an end) or clamped (given first
// derivative at an end). A boundary derivative above `naturalThreshold` (1e30) means a free end; a new
// Spline is natural at both ends, and boundary conditions persist until set again.
//
// Evaluation keeps the bracket of the last query (bracketLow, bracketHigh) and tries it, widened by
// two knots, before bisecting all the knots, so queries in ascending order cost little. Any order of
// queries gives the same values. Between calls on different knots the bracket is reset by the set-up.
class VELA_API Spline : public Interpolation {
  public:
    Spline() = default;
    Spline(const Spline&) = default;
    Spline& operator=(const Spline&) = default;
    ~Spline() override = default;

    // The scalar forms, on the spline's own one-element vectors.
    VELAErrorCodeTag Interpolate(double& result, const VecReal64& x, const VecReal64& y,
                                 const double& query) override;
    VELAErrorCodeTag Interpolate(float& result, const VecReal32& x, const VecReal32& y, float query) override;
    // Sets up the second derivatives once, then evaluates each query.
    VELAErrorCodeTag Interpolate(VecReal64& result, const VecReal64& x, const VecReal64& y,
                                 const VecReal64& queries) override;
    VELAErrorCodeTag Interpolate(VecReal32& result, const VecReal32& x, const VecReal32& y,
                                 const VecReal32& queries) override;

    // First derivative at x[0] (clamped start).
    void SetBoundaryCondition1(double derivative) { firstDerivativeStart = derivative; }
    // First derivative at x[n-1] (clamped end).
    void SetBoundaryCondition2(double derivative) { firstDerivativeEnd = derivative; }
    // Free ends at both sides.
    void SetNaturalSpline() { firstDerivativeStart = firstDerivativeEnd = naturalThreshold * 10.0; }

    // Separate set-up and evaluation for repeated use of one curve. Note the order y, x.
    // Computes the second derivatives into `table` (resized to n); false for fewer than two knots,
    // lengths that differ, or a failed scratch allocation.
    bool MakeSplineTable(VecReal32& table, const VecReal32& y, const VecReal32& x);
    // One query on a table made by MakeSplineTable for the same y and x (NaN when the lengths do not
    // fit the table).
    float Interpolate(float query, const VecReal32& y, const VecReal32& x, const VecReal32& table);
    // Every query on such a table; `result` is resized to the number of queries. Always true.
    bool Interpolate(VecReal32& result, const VecReal32& queries, const VecReal32& y, const VecReal32& x,
                     const VecReal32& table);

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    // Second derivatives of the spline through n knots into y2 (the tridiagonal solution); resets the
    // bracket. False when the scratch row cannot be allocated.
    bool SplineInit(int n, const float* x, const float* y, float* secondDerivatives);
    bool SplineInit(int n, const double* x, const double* y, double* secondDerivatives);
    // The spline at `query`, from the bracket of the previous query when it still holds. In the float
    // form the interval width and the two weights are rounded to float.
    float Splint(int n, const float* x, const float* y, const float* secondDerivatives, float query);
    double Splint(int n, const double* x, const double* y, const double* secondDerivatives, double query);

  private:
    template <class T>
    T SplintAt(int n, const T* x, const T* y, const T* y2, T query);
    template <class T>
    void SplintRuns(int n, const T* x, const T* y, const T* y2, int ne, const T* queries, T* out);
    template <class T, class Vec>
    VELAErrorCodeTag InterpolateVector(Vec& result, const Vec& x, const Vec& y, const Vec& queries);
    template <class T>
    std::vector<T>& SecondDerivativeRow();
    template <class T>
    std::vector<T>& SetupRow();

    double naturalThreshold = 1e30;
    double firstDerivativeStart = 1e31;
    double firstDerivativeEnd = 1e31;
    VecReal64 splineQuery64;
    VecReal64 splineResult64;
    VecReal32 splineQuery32;
    VecReal32 splineResult32;
    // The second derivatives of the vector forms and the set-up's scratch row, kept so that repeated
    // calls neither allocate nor touch fresh pages.
    std::vector<double> secondDerivatives64, setupRow64;
    std::vector<float> secondDerivatives32, setupRow32;
    int32_t bracketLow = 0;
    int32_t bracketHigh = 0;
};

// Monotonicity-preserving piecewise cubic Hermite interpolation (PCHIP): derivatives by the
// Fritsch-Butland rule (a weighted harmonic mean of the neighbouring slopes, 0 where the data turn),
// three-point shape-preserving ends, and evaluation interval by interval. Monotone data stay monotone.
//
// The knots must be strictly ascending (else "invalid input parameter" is thrown). The routines
// underneath follow the published PCHIP code and keep its failure behaviour: fewer than two knots print
// "SPLINE_PCHIP_SET - Fatal error!" and end the process with exit(-1); no queries print a message and
// return. A caller that cannot tolerate a process exit validates its knots first.
//
// The derivative array grows to the largest knot count seen and is reused, so repeated calls allocate
// nothing. Both widths compute in double and round only the results.
class VELA_API CubicHermiteInterpolation : public Interpolation {
  public:
    CubicHermiteInterpolation() = default;
    CubicHermiteInterpolation(const CubicHermiteInterpolation& other);
    CubicHermiteInterpolation& operator=(const CubicHermiteInterpolation& other);
    ~CubicHermiteInterpolation() override;

    using Interpolation::Interpolate;
    VELAErrorCodeTag Interpolate(VecReal64& result, const VecReal64& x, const VecReal64& y,
                                 const VecReal64& queries) override;
    VELAErrorCodeTag Interpolate(VecReal32& result, const VecReal32& x, const VecReal32& y,
                                 const VecReal32& queries) override;

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    template <class T, class Vec>
    VELAErrorCodeTag InterpolateVector(Vec& result, const Vec& x, const Vec& y, const Vec& queries);

    static void spline_pchip_set(int n, const double* x, const double* y, double* d);
    static void spline_pchip_set(int n, const float* x, const float* y, double* d);
    static void spline_pchip_val(int n, const double* x, const double* y, const double* d, int ne,
                                 const double* xe, double* fe, std::vector<int32_t>* index,
                                 std::vector<double>* coefficients);
    static void spline_pchip_val(int n, const float* x, const float* y, const double* d, int ne,
                                 const float* xe, float* fe, std::vector<int32_t>* index,
                                 std::vector<double>* coefficients);
    static int chfev(double x1, double x2, double f1, double f2, double d1, double d2, int ne,
                     const double* xe, int xeOffset, double* fe, int feOffset, int* next);
    static int chfev(double x1, double x2, double f1, double f2, double d1, double d2, int ne,
                     const float* xe, int xeOffset, float* fe, int feOffset, int* next);
    static double pchst(double a, double b);
    static double d_max(double a, double b) { return a < b ? b : a; }
    static double d_min(double a, double b) { return a < b ? a : b; }
    static int i_max(int a, int b) { return a < b ? b : a; }

    double* derivatives = nullptr;  // owned; grows, never shrinks
    int32_t derivativesCapacity = 0;
    // The cubics' coefficients per interval, made once per call when the queries outnumber the knots;
    // kept so that repeated calls allocate nothing.
    std::vector<double> intervalCoefficients;
};

// Makes interpolators. What it returns belongs to the caller (delete through Interpolation's virtual
// destructor).
class VELA_API InterpolationFactory {
  public:
    InterpolationFactory() = default;
    virtual ~InterpolationFactory() = default;

    // Stores `type` and returns a new object of its kind; null for a type outside 0..3 (the type is
    // stored all the same) or when memory is exhausted.
    Interpolation* MakeInterpolation(InterpolationType type);
    // The type last given to MakeInterpolation (linear before any).
    InterpolationType GetType() const { return type; }

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    InterpolationType type = InterpolationLinear;
};

}  // namespace VELA
