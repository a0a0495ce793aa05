// DigitalIQDownconverter: a stream of real samples, as from a fast digitiser, turned into complex
// baseband at a lower rate. Each sample is mixed with an oscillator at -centerFreq, the mixed stream
// passes a Kaiser-windowed sinc low-pass of L = 20 M + 1 taps cut off at the new Nyquist frequency, and
// every M-th output is kept, M being a power of two.
//
// A streaming object: the mixed samples and the counters carry over from one Apply to the next, so a
// record cut into segments anywhere gives exactly the outputs of the record in one piece. The first
// segment after SetParameters or Flush must hold at least L samples; later segments may have any
// length, an empty one included. Output k of a stream is the filter over input samples
// k M .. k M + L - 1, so n samples of a stream give 1 + (n - L) / M outputs in all.
//
// Gain and phase: the taps sum to 2, so a real sine of amplitude A comes out as a complex tone of
// amplitude A (times the filter's response at its baseband frequency). The oscillator's count starts
// at the filter delay (L - 1) / 2 rather than 0, which fixes the output's absolute phase: output k is
// the input's analytic component at sample k M + (L - 1) / 2 times exp(-j w (k M + L - 1)), with
// w = 2 pi centerFreq / sampFreq.
//
// Frequencies and rates are in Hz, lengths in samples. The filter and the ring of mixed samples are
// built by SetParameters; a steady stream allocates nothing beyond the growth of the caller's output
// vector. One object serves one thread at a time, except RequestAbort, which may come from any
// thread while Apply runs.
#pragma once
#include "../math/VELAExport.h"

#include <atomic>
#include <cstdint>

#include "../math/VELAError.h"
#include "../math/Vector.h"

namespace VELA {

class UnitTestRecorder;

class VELA_API DigitalIQDownconverter {
  public:
    // No parameters yet (rate, centre and span -1.0): Apply returns VELAErrorInvalidInputParameter
    // until a SetParameters that is not an estimate has run.
    DigitalIQDownconverter() = default;
    // Copies are deep and carry the stream on; a pending abort request is not copied.
    DigitalIQDownconverter(const DigitalIQDownconverter&) = default;
    DigitalIQDownconverter& operator=(const DigitalIQDownconverter&) = default;
    virtual ~DigitalIQDownconverter() = default;

    // Works out the decimation M (the largest power of two not above sampFreq / (span / 0.8)), and
    // returns outSampFreq = sampFreq / M, requiredLen = M numOutput + L - 1 (the first segment length
    // that gives numOutput outputs) and filterDelay = (L - 1) / 2 input samples.
    // With estimateOnly the call only computes: no member changes, a stream in progress goes on.
    // Otherwise, when all four inputs equal the stored ones, the stored results come back and the
    // stream goes on undisturbed; when any differs the filter is rebuilt and the stream flushed.
    // Throws VELAException "invalid input parameter" for a sampFreq or span that is not positive and
    // finite, a centerFreq that is not finite, a span above 80% of sampFreq (no decimation possible), a
    // negative numOutput, a filter beyond 134217727 taps (span below GetMinRequiredSpan), or a
    // requiredLen beyond an int. A throw of a call that is not an estimate leaves the object without
    // parameters (Apply refuses) until a successful call.
    void SetParameters(double& outSampFreq, int& requiredLen, double& filterDelay, double centerFreq,
                       double sampFreq, double span, int numOutput, bool estimateOnly);

    // One segment of the stream: out gets its outputs (resized). Returns VELAErrorNone, or the code of
    // what went wrong; nothing is thrown:
    //   VELAErrorInvalidInputParameter  no parameters yet, or the first segment of a stream holds fewer
    //                                   than L samples (out untouched in both cases);
    //   VELAErrorAbort                  RequestAbort was seen: out keeps the size in.size / M + 1 with
    //                                   only the outputs made so far written (a prefix of what the
    //                                   whole segment would give); Flush before a new stream;
    //   VELAErrorMemoryAlloc            out could not grow.
    // Clears any abort request first: a request made before Apply begins is lost.
    VELAErrorCodeTag Apply(VecCplx32& out, const VecReal32& in);

    // Asks a running Apply, from any thread, to stop. Apply reads the request again before every output
    // and before mixing each batch of input into the ring (at most 2048 samples), so once the request
    // is visible it makes no further output.
    void RequestAbort() { m_abort.Set(); }

    // Back to the start of a stream with the same filter: the next segment must hold at least L
    // samples again. Does nothing before the first SetParameters.
    void Flush();

    // The smallest span (Hz) whose filter stays within 134217727 taps: sampFreq / 6710886 * 0.8.
    static double GetMinRequiredSpan(double sampFreq);

    // Self-test under "DigitalIQDownconverter"; always returns true, the verdicts go into the recorder.
    // Reads the test record "VData.txt" and its reference output "VDataIQCvtGold.txt" from the
    // library's test data directory (see internal/TestData.h).
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    // A request flag that another thread sets while Apply polls it: an atomic byte, relaxed, since it
    // carries no data with it. Copies start cleared.
    class AbortFlag {
      public:
        AbortFlag() = default;
        AbortFlag(const AbortFlag&) {}
        AbortFlag& operator=(const AbortFlag&) {
            Clear();
            return *this;
        }
        void Set() { m_flag.store(true, std::memory_order_relaxed); }
        void Clear() { m_flag.store(false, std::memory_order_relaxed); }
        bool IsSet() const { return m_flag.load(std::memory_order_relaxed); }

      private:
        std::atomic<bool> m_flag{false};
    };

    // The stream's work; throws VELAException, which Apply turns into its return code.
    void ApplyInternal(VecCplx32& out, const VecReal32& in);
    // Mixes `count` samples into the ring at the write position and advances the counters.
    void MixIntoRing(const float* x, int count);

    double m_outSampFreq = 0.0;  // sampFreq / M
    double m_requiredLen = 0.0;  // requiredLen as computed
    double m_filterDelay = 0.0;  // (L - 1) / 2, input samples
    double m_centerFreq = -1.0;  // Hz, brought to zero
    double m_sampFreq = -1.0;    // Hz; -1.0 until the first SetParameters
    double m_span = -1.0;        // Hz, requested
    int m_numOutput = -1;        // outputs requiredLen is sized for
    int m_filterLen = 0;         // L
    int64_t m_decimation = 0;    // M
    double m_omega = 0.0;        // oscillator step, radians per input sample (-2 pi centerFreq / sampFreq)
    VecReal32 m_filter;          // the L taps, symmetric, summing to 2
    VecReal64 m_rotation;        // in-block oscillator rotations for the mixing kernel

    // The ring of mixed samples. It holds m_ringSize = L - 1 + (a batch) samples, so that a whole batch
    // of input can be mixed at once while the L - 1 samples still needed stay in place, and after it a
    // copy of its first L - 1 entries, so that any window of L samples starting in the ring is
    // contiguous in memory. Sample number s of the stream lives at position s mod m_ringSize.
    VecReal32 m_ringI, m_ringQ;
    int m_ringSize = 0;
    int64_t m_inCount = 0;     // samples taken into the ring since Flush
    int64_t m_phaseCount = 0;  // oscillator count of the next sample: m_inCount + trunc(filterDelay)
    int64_t m_nextStart = 0;   // first sample (stream count) of the next output's window
    int m_writePos = 0;        // m_inCount mod m_ringSize
    int m_nextPos = 0;         // m_nextStart mod m_ringSize

    AbortFlag m_abort;
    bool m_ready = false;  // SetParameters has built the filter
};

}  // namespace VELA
