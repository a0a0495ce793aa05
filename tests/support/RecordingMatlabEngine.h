// A stand-in for the automation server that keeps what MGraph sends: every command text, every matrix
// put, and the calls to quit. It answers reads of matrices it was given, and of "<name>Size" after the
// size command that GetMatrix sends, so GetVecCplx32 can be followed without a server.
#pragma once

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "internal/MatlabEngine.h"
#include "visualization/MGraph.h"

namespace corvane_test {

struct Recording {
    struct Matrix {
        std::vector<double> real, imaginary;  // in the order given to PutFullMatrix (row order)
        bool complex = false;
        unsigned rows = 0, columns = 0;
    };
    std::vector<std::string> commands;  // Execute texts, in order
    std::vector<std::string> events;    // "exec <text>", "put <name> <rows>x<columns>[ complex]", "quit"
    std::map<std::string, Matrix> variables;
    int quits = 0;
    bool destroyed = false;
};

class RecordingMatlabEngine : public VELA::CMatlabEngine {
  public:
    explicit RecordingMatlabEngine(std::shared_ptr<Recording> r, bool connect = true)
        : CMatlabEngine(NoServer{}), rec(std::move(r)) {
        connected = connect;
    }
    ~RecordingMatlabEngine() override { rec->destroyed = true; }

  protected:
    int32_t ExecuteCommand(const char* command) override {
        const std::string text = command ? command : "";
        rec->commands.push_back(text);
        rec->events.push_back("exec " + text);
        // "<name>Size=size(<name>);"
        const size_t at = text.find("Size=size(");
        if (at != std::string::npos) {
            const std::string name = text.substr(0, at);
            auto it = rec->variables.find(name);
            if (it != rec->variables.end() && text == name + "Size=size(" + name + ");") {
                Recording::Matrix size;
                size.real = {static_cast<double>(it->second.rows), static_cast<double>(it->second.columns)};
                size.rows = 1;
                size.columns = 2;
                rec->variables[name + "Size"] = size;
            }
        }
        return 0;
    }
    int32_t PutMatrix(const char* name, const std::vector<double>& real, const std::vector<double>* imaginary,
                      unsigned rows, unsigned columns) override {
        Recording::Matrix m;
        const size_t n = static_cast<size_t>(rows) * columns;
        m.real.assign(real.begin(), real.begin() + static_cast<std::ptrdiff_t>(n));
        if (imaginary)
            m.imaginary.assign(imaginary->begin(), imaginary->begin() + static_cast<std::ptrdiff_t>(n));
        m.complex = imaginary != nullptr;
        m.rows = rows;
        m.columns = columns;
        rec->variables[name] = m;
        char line[256];
        std::snprintf(line, sizeof line, "put %s %ux%u%s", name, rows, columns, m.complex ? " complex" : "");
        rec->events.push_back(line);
        return 0;
    }
    int32_t GetMatrixData(const char* name, unsigned rows, unsigned columns, std::vector<double>& real,
                          std::vector<double>* imaginary) override {
        auto it = rec->variables.find(name);
        if (it == rec->variables.end() || it->second.rows != rows || it->second.columns != columns)
            return VELA::engine::kException;
        // Back in memory (column) order.
        const Recording::Matrix& m = it->second;
        real.assign(static_cast<size_t>(rows) * columns, 0.0);
        if (imaginary) imaginary->assign(real.size(), 0.0);
        for (unsigned i = 0; i < rows; ++i)
            for (unsigned j = 0; j < columns; ++j) {
                real[j * rows + i] = m.real[i * columns + j];
                if (imaginary && m.complex) (*imaginary)[j * rows + i] = m.imaginary[i * columns + j];
            }
        return 0;
    }
    int32_t QuitServer() override {
        ++rec->quits;
        rec->events.push_back("quit");
        return 0;
    }

  private:
    std::shared_ptr<Recording> rec;
};

// MGraph on a given engine (the constructor for substitutes is protected).
class GraphOn : public VELA::MGraph {
  public:
    GraphOn(const char* caption, VELA::CMatlabEngine* engine) : MGraph(caption, engine) {}
    using MGraph::UnitTestOn;
};

}  // namespace corvane_test
