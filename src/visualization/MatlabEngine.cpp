#include "internal/MatlabEngine.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstring>

namespace VELA {
namespace {

int64_t NowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// An Octave expression for `text`: a single-quoted literal (quotes doubled), with every character
// outside printable ASCII spliced in as char(code), so that any bytes survive the trip.
std::string Quote(const char* text) {
    std::string parts;
    std::string run;
    bool first = true;
    auto flushRun = [&] {
        if (run.empty()) return;
        parts += first ? "" : " ";
        parts += "'" + run + "'";
        run.clear();
        first = false;
    };
    for (const char* p = text; *p; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c >= 32 && c < 127) {
            run += static_cast<char>(c);
            if (c == '\'') run += '\'';
        } else {
            flushRun();
            parts += first ? "" : " ";
            parts += "char(" + std::to_string(c) + ")";
            first = false;
        }
    }
    flushRun();
    if (first) return "''";
    return "[" + parts + "]";
}

// Octave variable names: a letter, then letters, digits and underscores, at most 63 characters.
bool ValidName(const char* name) {
    if (!name || !((name[0] >= 'A' && name[0] <= 'Z') || (name[0] >= 'a' && name[0] <= 'z'))) return false;
    size_t n = 0;
    for (const char* p = name; *p; ++p, ++n) {
        const char c = *p;
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_'))
            return false;
    }
    return n <= 63;
}

// Doubles travel as the 16 hexadecimal digits of their bit pattern, most significant first (Octave's
// num2hex and hex2num), so every value, NaN and infinity included, arrives exactly.
void AppendHex(std::string& out, const double* v, size_t n) {
    static const char kDigits[] = "0123456789abcdef";
    const size_t at = out.size();
    out.resize(at + 16 * n);
    char* p = &out[at];
    for (size_t i = 0; i < n; ++i) {
        uint64_t bits;
        std::memcpy(&bits, &v[i], sizeof bits);
        for (int d = 15; d >= 0; --d) {
            p[d] = kDigits[bits & 15];
            bits >>= 4;
        }
        p += 16;
    }
}

bool ParseHex(const char* s, size_t n, double* out) {
    for (size_t i = 0; i < n; ++i) {
        uint64_t bits = 0;
        for (int d = 0; d < 16; ++d) {
            const char c = s[16 * i + d];
            int v;
            if (c >= '0' && c <= '9')
                v = c - '0';
            else if (c >= 'a' && c <= 'f')
                v = c - 'a' + 10;
            else if (c >= 'A' && c <= 'F')
                v = c - 'A' + 10;
            else
                return false;
            bits = (bits << 4) | static_cast<uint64_t>(v);
        }
        std::memcpy(&out[i], &bits, sizeof bits);
    }
    return true;
}

// The Octave text that puts `n` doubles from `v` into the column vector `var`. Long data go as lines of
// a cell array joined once, so that no line grows beyond a few hundred kilobytes.
void AppendColumn(std::string& script, const char* var, const double* v, size_t n) {
    if (n == 0) {
        script += std::string(var) + " = zeros(0, 1);\n";
        return;
    }
    const size_t chunk = 8192;
    const size_t parts = (n + chunk - 1) / chunk;
    script += "__corvane_c = cell(1, " + std::to_string(parts) + ");\n";
    for (size_t p = 0; p < parts; ++p) {
        const size_t start = p * chunk;
        const size_t count = n - start < chunk ? n - start : chunk;
        script += "__corvane_c{" + std::to_string(p + 1) + "} = '";
        AppendHex(script, v + start, count);
        script += "';\n";
    }
    script += std::string(var) + " = hex2num(reshape([__corvane_c{:}], 16, []).');\n";
    script += "clear __corvane_c;\n";
}

// write() that cannot raise SIGPIPE: the signal is blocked on this thread for the call, and one that
// the call itself raised is taken off again.
ssize_t WriteNoSignal(int fd, const char* data, size_t n) {
    sigset_t pipeSet, old, pendingSet;
    sigemptyset(&pipeSet);
    sigaddset(&pipeSet, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSet, &old);
    sigpending(&pendingSet);
    const bool wasPending = sigismember(&pendingSet, SIGPIPE) == 1;
    const ssize_t w = write(fd, data, n);
    const int err = errno;
    if (w < 0 && err == EPIPE && !wasPending) {
        const timespec zero{0, 0};
        sigtimedwait(&pipeSet, nullptr, &zero);
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    errno = err;
    return w;
}

void CloseFd(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

const char* const kStartScript =
    "more off;\n"
    "page_screen_output(false);\n"
    "warning('off', 'Octave:gnuplot-graphics');\n"
    "try\n"
    "  graphics_toolkit('gnuplot');\n"
    "catch\n"
    "end_try_catch\n"
    "set(0, 'defaultfigurevisible', 'off');\n";

}  // namespace

// ---------------------------------------------------------------- life of the server

CMatlabEngine::CMatlabEngine(bool singleInstance) : CMatlabEngine(singleInstance, OctaveServerOptions{}) {}

CMatlabEngine::CMatlabEngine(bool, const OctaveServerOptions& opts) : options(opts) {
    Start(options);
}

CMatlabEngine::CMatlabEngine(NoServer) : connected(true) {}

CMatlabEngine::~CMatlabEngine() {
    if (server > 0) QuitServer();
    StopServer();
}

void CMatlabEngine::Start(const OctaveServerOptions& opts) {
    connected = false;
    int in[2] = {-1, -1}, out[2] = {-1, -1};
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
        CloseFd(in[0]);
        CloseFd(in[1]);
        lastResult = engine::kServerUnavailable;
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, out[1], 2);
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    // A process group of its own, so that the server and the gnuplot it starts can be stopped together;
    // default signal handling and an empty mask, whatever this process has set up.
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGTERM);
    sigaddset(&defaults, SIGCHLD);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&attr, 0);
    posix_spawnattr_setsigmask(&attr, &none);
    posix_spawnattr_setsigdefault(&attr, &defaults);

    std::string program = opts.program;
    char* argv[] = {program.data(),
                    const_cast<char*>("-q"),
                    const_cast<char*>("--norc"),
                    const_cast<char*>("--no-history"),
                    const_cast<char*>("--no-line-editing"),
                    const_cast<char*>("--no-window-system"),
                    nullptr};
    // Visible figures would be drawn as text on the server's output; the "unknown" gnuplot terminal
    // draws them nowhere (printing to a file picks its own terminal).
    std::vector<std::string> envText;
    for (char** e = environ; *e; ++e)
        if (std::strncmp(*e, "GNUTERM=", 8) != 0) envText.emplace_back(*e);
    envText.emplace_back("GNUTERM=unknown");
    std::vector<char*> envp;
    for (std::string& s : envText)
        envp.push_back(s.data());
    envp.push_back(nullptr);

    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, program.c_str(), &actions, &attr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    close(in[0]);
    close(out[1]);
    if (rc != 0) {
        close(in[1]);
        close(out[0]);
        lastResult = rc == ENOENT || rc == EACCES ? engine::kNotRegistered : engine::kServerUnavailable;
        return;
    }
    server = pid;
    toServer = in[1];
    fromServer = out[0];
    fcntl(toServer, F_SETFL, fcntl(toServer, F_GETFL) | O_NONBLOCK);
    fcntl(fromServer, F_SETFL, fcntl(fromServer, F_GETFL) | O_NONBLOCK);

    std::string answer;
    const int32_t r = Exchange(kStartScript, answer, opts.startTimeoutMs);
    lastResult = r;
    connected = r == engine::kOk;
}

void CMatlabEngine::StopServer() {
    CloseFd(toServer);
    CloseFd(fromServer);
    if (server > 0) {
        // The server is not reaped yet, so its id still names its process group.
        kill(-server, SIGKILL);
        kill(server, SIGKILL);
        int status;
        while (waitpid(server, &status, 0) < 0 && errno == EINTR) {
        }
        server = -1;
    }
    pending.clear();
}

int32_t CMatlabEngine::QuitServer() {
    if (!connected) {
        connected = false;
        lastResult = engine::kRefused;
        return lastResult;
    }
    if (server <= 0) {
        lastResult = engine::kRefused;
        return lastResult;
    }
    static const char kExit[] = "exit\n";
    WriteNoSignal(toServer, kExit, sizeof kExit - 1);
    CloseFd(toServer);
    // Wait for the server to end, reading what it still prints so that it never blocks on a full pipe.
    const int64_t deadline = NowMs() + options.quitTimeoutMs;
    bool ended = false;
    while (!ended) {
        siginfo_t info{};
        if (waitid(P_PID, static_cast<id_t>(server), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            info.si_pid == server) {
            ended = true;
            break;
        }
        const int64_t left = deadline - NowMs();
        if (left <= 0) break;
        pollfd p{fromServer, POLLIN, 0};
        if (fromServer >= 0 && poll(&p, 1, static_cast<int>(left < 20 ? left : 20)) > 0) {
            char buf[4096];
            if (read(fromServer, buf, sizeof buf) == 0) CloseFd(fromServer);
        } else if (fromServer < 0) {
            usleep(5000);
        }
    }
    // Whatever is left of the group (gnuplot) goes too; then the server is reaped.
    StopServer();
    lastResult = ended ? engine::kOk : engine::kTimeout;
    return lastResult;
}

bool CMatlabEngine::Ready() {
    if (!connected || server <= 0) {
        lastResult = engine::kRefused;
        return false;
    }
    return true;
}

int32_t CMatlabEngine::Exchange(const std::string& script, std::string& answer, int timeoutMs) {
    answer.clear();
    if (server <= 0 || toServer < 0 || fromServer < 0) return engine::kServerUnavailable;
    ++exchangeCount;
    // The mark that ends the answer is printed from pieces, so that a server echoing its input would
    // still not produce it early.
    const std::string count = std::to_string(exchangeCount);
    const std::string mark = "__corvane_done_" + count + "__\n";
    const std::string text =
        script + "\nprintf('__corvane_%s_%s__\\n', 'done', '" + count + "'); fflush(stdout);\n";
    pending.clear();
    size_t written = 0;
    const int64_t deadline = NowMs() + timeoutMs;
    for (;;) {
        if (written == text.size()) {
            const size_t at = pending.find(mark);
            if (at != std::string::npos) {
                answer.assign(pending, 0, at);
                pending.erase(0, at + mark.size());
                return engine::kOk;
            }
        }
        const int64_t left = deadline - NowMs();
        if (left <= 0) {
            StopServer();
            return engine::kTimeout;
        }
        pollfd p[2] = {{fromServer, POLLIN, 0}, {toServer, POLLOUT, 0}};
        const nfds_t count2 = written < text.size() ? 2 : 1;
        const int ready = poll(p, count2, static_cast<int>(left < INT_MAX ? left : INT_MAX));
        if (ready < 0) {
            if (errno == EINTR) continue;
            StopServer();
            return engine::kServerUnavailable;
        }
        if (p[0].revents & (POLLIN | POLLHUP | POLLERR)) {
            char buf[65536];
            const ssize_t r = read(fromServer, buf, sizeof buf);
            if (r > 0) {
                pending.append(buf, static_cast<size_t>(r));
            } else if (r == 0 || (errno != EAGAIN && errno != EINTR)) {
                // The server has gone away.
                StopServer();
                return engine::kServerUnavailable;
            }
        }
        if (count2 == 2 && (p[1].revents & (POLLOUT | POLLERR | POLLHUP))) {
            const ssize_t w = WriteNoSignal(toServer, text.data() + written, text.size() - written);
            if (w > 0) {
                written += static_cast<size_t>(w);
            } else if (w < 0 && errno != EAGAIN && errno != EINTR) {
                StopServer();
                return engine::kServerUnavailable;
            }
        }
    }
}

// ---------------------------------------------------------------- the four operations

int32_t CMatlabEngine::ExecuteCommand(const char* command) {
    if (!Ready()) return engine::kRefused;
    // Run as eval inside try, so that neither a syntax error nor a failing command ends the exchange;
    // the message is printed into the answer, as the server's own output.
    const std::string script = "try\n  eval(" + Quote(command ? command : "") +
                               ");\ncatch\n  printf('error: %s\\n', lasterr());\nend_try_catch";
    lastResult = Exchange(script, lastOutput, options.callTimeoutMs);
    return lastResult;
}

int32_t CMatlabEngine::PutMatrix(const char* name, const std::vector<double>& real,
                                 const std::vector<double>* imaginary, unsigned rows, unsigned columns) {
    if (!Ready()) return engine::kRefused;
    const uint64_t count = static_cast<uint64_t>(rows) * columns;
    if ((imaginary && imaginary->size() != real.size()) || count > real.size()) {
        lastResult = engine::kRefused;
        return lastResult;
    }
    if (!ValidName(name)) {
        lastResult = engine::kInvalidArgument;
        return lastResult;
    }
    std::string script = "try\n";
    AppendColumn(script, "__corvane_r", real.data(), count);
    if (imaginary) AppendColumn(script, "__corvane_i", imaginary->data(), count);
    const std::string shape = std::to_string(columns) + ", " + std::to_string(rows);
    if (imaginary)
        script += std::string(name) + " = complex(reshape(__corvane_r, " + shape +
                  ").', reshape(__corvane_i, " + shape + ").');\n";
    else
        script += std::string(name) + " = reshape(__corvane_r, " + shape + ").';\n";
    script += "catch\n  printf('@@E %s\\n', lasterr());\nend_try_catch\nclear __corvane_r __corvane_i;";
    std::string answer;
    lastResult = Exchange(script, answer, options.callTimeoutMs);
    if (lastResult == engine::kOk && answer.find("@@E") != std::string::npos) lastResult = engine::kException;
    return lastResult;
}

int32_t CMatlabEngine::GetMatrixData(const char* name, unsigned rows, unsigned columns,
                                     std::vector<double>& real, std::vector<double>* imaginary) {
    if (!Ready()) return engine::kRefused;
    if (!ValidName(name)) {
        lastResult = engine::kInvalidArgument;
        return lastResult;
    }
    const std::string script =
        "try\n"
        "  __corvane_v = " +
        std::string(name) +
        ";\n"
        "  if (!(isnumeric(__corvane_v) || islogical(__corvane_v)))\n"
        "    printf('@@E type\\n');\n"
        "  elseif (ndims(__corvane_v) != 2)\n"
        "    printf('@@S 0 0 0 %d\\n', ndims(__corvane_v));\n"
        "  else\n"
        "    __corvane_v = double(__corvane_v);\n"
        "    printf('@@S %d %d %d 2\\n', rows(__corvane_v), columns(__corvane_v), iscomplex(__corvane_v));\n"
        "    printf('%s\\n', num2hex(real(__corvane_v(:))).');\n"
        "    if (iscomplex(__corvane_v))\n"
        "      printf('%s\\n', num2hex(imag(__corvane_v(:))).');\n"
        "    end\n"
        "  end\n"
        "catch\n"
        "  printf('@@E %s\\n', lasterr());\n"
        "end_try_catch\n"
        "clear __corvane_v;";
    std::string answer;
    lastResult = Exchange(script, answer, options.callTimeoutMs);
    if (lastResult != engine::kOk) return lastResult;
    const size_t head = answer.find("@@S ");
    if (answer.find("@@E") != std::string::npos || head == std::string::npos) {
        lastResult = engine::kException;
        return lastResult;
    }
    unsigned long long r = 0, c = 0;
    int cx = 0, nd = 0;
    if (std::sscanf(answer.c_str() + head, "@@S %llu %llu %d %d", &r, &c, &cx, &nd) != 4) {
        lastResult = engine::kException;
        return lastResult;
    }
    if (nd != 2) {
        lastResult = engine::kRefused;
        return lastResult;
    }
    if (r != rows || c != columns) {
        lastResult = engine::kException;
        return lastResult;
    }
    const size_t n = static_cast<size_t>(r * c);
    const size_t line1 = answer.find('\n', head);
    const size_t dataAt = line1 == std::string::npos ? answer.size() : line1 + 1;
    const size_t need = 16 * n + 1 + (cx ? 16 * n + 1 : 0);
    if (answer.size() < dataAt + need) {
        lastResult = engine::kException;
        return lastResult;
    }
    real.assign(n, 0.0);
    if (imaginary) imaginary->assign(n, 0.0);
    bool ok = ParseHex(answer.data() + dataAt, n, real.data());
    if (ok && cx && imaginary) ok = ParseHex(answer.data() + dataAt + 16 * n + 1, n, imaginary->data());
    lastResult = ok ? engine::kOk : engine::kException;
    return lastResult;
}

int32_t CMatlabEngine::GetMatrix(const char* name, int* rows, int* columns, std::vector<double>& real,
                                 std::vector<double>* imaginary) {
    static std::string text;  // the one static buffer of the class
    if (!name) {
        lastResult = engine::kRefused;
        return lastResult;
    }
    text = std::string(name) + "Size=size(" + name + ");";
    int32_t r = Execute(text.c_str());
    if (r != engine::kOk) return r;
    std::vector<double> size;
    text = std::string(name) + "Size";
    r = GetFullMatrix(text.c_str(), 1, 2, size);
    if (r != engine::kOk) return r;
    auto truncate = [](double v) {
        return v >= 0 && v <= INT_MAX ? static_cast<int>(v) : 0;  // NaN and out-of-range give 0
    };
    const int nr = truncate(size[0]), nc = truncate(size[1]);
    if (rows) *rows = nr;
    if (columns) *columns = nc;
    const unsigned ur = static_cast<unsigned>(nr), uc = static_cast<unsigned>(nc);
    return imaginary ? GetFullMatrix(name, ur, uc, real, *imaginary) : GetFullMatrix(name, ur, uc, real);
}

}  // namespace VELA
