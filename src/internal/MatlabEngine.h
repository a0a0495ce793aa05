// CMatlabEngine: the automation server behind MGraph.
//
// The server is GNU Octave, run headless as a child process (`octave-cli`, found on PATH) and driven
// over its standard input and output: command text, full matrices put into and read from the base
// workspace, and quit. Figures use the gnuplot toolkit and are invisible (they are drawn only when
// printed to a file). Each engine runs its own server.
//
// Every exchange waits a bounded time for the server's answer. A server that is missing, fails to
// start, dies, or does not answer in time leaves the engine without a server: the process (and its
// process group, which holds gnuplot) is killed if needed and always reaped, and every later call is
// refused with 1. Nothing here throws or writes to the console.
//
// Results are 32-bit codes in the manner of automation calls: 0 success, 1 a refusal by the engine
// itself (no server, sizes that do not fit), negative codes for failures of the exchange or of the
// server (see the constants below). A command that the server executes but rejects still answers 0,
// as an automation server does; its message is in GetLastOutput().
//
// Substitutes (a recording engine, another carrier) derive from this class, construct it with
// NoServer, and override the virtual operations.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace VELA {

namespace engine {
inline constexpr int32_t kOk = 0;
inline constexpr int32_t kRefused = 1;
// The server program is not on PATH (an automation class that is not registered).
inline constexpr int32_t kNotRegistered = static_cast<int32_t>(0x80040154u);
// The server could not be started, or has gone away.
inline constexpr int32_t kServerUnavailable = static_cast<int32_t>(0x800706BAu);
// The server did not answer within the wait; it has been stopped.
inline constexpr int32_t kTimeout = static_cast<int32_t>(0x800705B4u);
// The server refused the operation (an unknown or unsuitable variable, sizes that differ).
inline constexpr int32_t kException = static_cast<int32_t>(0x80020009u);
// A variable name that is not an identifier.
inline constexpr int32_t kInvalidArgument = static_cast<int32_t>(0x80070057u);
}  // namespace engine

// How the server is started and how long the engine waits for it.
struct OctaveServerOptions {
    std::string program = "octave-cli";  // searched on PATH unless it holds a '/'
    int startTimeoutMs = 120000;         // until the server has answered its first exchange
    int callTimeoutMs = 120000;          // for each later exchange
    int quitTimeoutMs = 10000;           // for the server to end after "exit" before it is killed
};

class CMatlabEngine {
  public:
    // Starts a server. `singleInstance` asks for a server of one's own; every engine has one anyway.
    explicit CMatlabEngine(bool singleInstance);
    CMatlabEngine(bool singleInstance, const OctaveServerOptions& options);
    CMatlabEngine(const CMatlabEngine&) = delete;
    CMatlabEngine& operator=(const CMatlabEngine&) = delete;
    // Ends the server if it still runs (bounded wait, then kill) and reaps it.
    virtual ~CMatlabEngine();

    // Runs command text in the base workspace.
    int32_t Execute(const char* command) { return ExecuteCommand(command); }
    // Stores a rows x columns array under `name`, filled from the source in row order (element k at
    // row k / columns, column k % columns). Refused (1) when the real and imaginary sizes differ or
    // rows * columns exceeds them.
    int32_t PutFullMatrix(const char* name, const std::vector<double>& real,
                          const std::vector<double>& imaginary, unsigned rows, unsigned columns) {
        return PutMatrix(name, real, &imaginary, rows, columns);
    }
    int32_t PutFullMatrix(const char* name, const std::vector<double>& real, unsigned rows,
                          unsigned columns) {
        return PutMatrix(name, real, nullptr, rows, columns);
    }
    // Reads the rows x columns variable `name` in the array's memory order (column by column) into
    // `real` (resized to rows * columns) and, in the second form, its imaginary parts (0 for a real
    // variable). Arrays of other than two dimensions are refused with 1.
    int32_t GetFullMatrix(const char* name, unsigned rows, unsigned columns, std::vector<double>& real) {
        return GetMatrixData(name, rows, columns, real, nullptr);
    }
    int32_t GetFullMatrix(const char* name, unsigned rows, unsigned columns, std::vector<double>& real,
                          std::vector<double>& imaginary) {
        return GetMatrixData(name, rows, columns, real, &imaginary);
    }
    // Executes "<name>Size=size(<name>);", reads that 1 x 2 variable into rows and columns, then reads
    // the variable itself (`imaginary` may be null). The first failure ends it and is returned. Uses one
    // static text buffer: not for two threads at once, on any engines.
    int32_t GetMatrix(const char* name, int* rows, int* columns, std::vector<double>& real,
                      std::vector<double>* imaginary);
    // Tells the server to quit and waits (bounded) for it to end.
    int32_t Quit() { return QuitServer(); }

    bool IsConnected() const { return connected; }
    int32_t GetLastResult() const { return lastResult; }
    // What the server printed during the last Execute (error messages included).
    const std::string& GetLastOutput() const { return lastOutput; }
    // Process id of the server, or -1 when there is none.
    pid_t GetServerProcessId() const { return server; }

  protected:
    struct NoServer {};
    // A connected engine with no server, for substitutes that override the operations.
    explicit CMatlabEngine(NoServer);

    virtual int32_t ExecuteCommand(const char* command);
    virtual int32_t PutMatrix(const char* name, const std::vector<double>& real,
                              const std::vector<double>* imaginary, unsigned rows, unsigned columns);
    virtual int32_t GetMatrixData(const char* name, unsigned rows, unsigned columns,
                                  std::vector<double>& real, std::vector<double>* imaginary);
    virtual int32_t QuitServer();

    bool connected = false;
    int32_t lastResult = 0;
    std::string lastOutput;

  private:
    void Start(const OctaveServerOptions& options);
    // Whether calls may go to the server; otherwise stores and returns 1.
    bool Ready();
    // Sends `script`, then waits for the end-of-answer mark; the text printed before it goes to
    // `answer`. On any failure the server is stopped and the code returned.
    int32_t Exchange(const std::string& script, std::string& answer, int timeoutMs);
    // Kills the server's process group and reaps the server; closes the pipes.
    void StopServer();

    pid_t server = -1;
    int toServer = -1;    // its standard input
    int fromServer = -1;  // its standard output and error
    unsigned exchangeCount = 0;
    std::string pending;  // read but not yet consumed
    OctaveServerOptions options;
};

}  // namespace VELA
