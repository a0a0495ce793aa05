// Reads the variables of a MAT-file with the real readers, GNU Octave (`load`) and scipy.io.loadmat, and
// describes each as one line:
//
//   name class rows cols complex  re im re im ...     (numbers as "%.17g", column order)
//   name char rows cols 0 [text]
//
// with MATLAB's class names (double, single, uint8, uint16, char), so that the two readers and the
// expectations of a test can be compared line by line. Describe() builds the expected line.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace corvane_test {

// name -> description line, plus "#order" -> the names in the order the file holds them.
using MatDescription = std::map<std::string, std::string>;

MatDescription ReadWithOctave(const std::string& path);
MatDescription ReadWithScipy(const std::string& path);

// The expected line of a numeric variable (values as pairs re, im) or of a text.
std::string Describe(const std::string& name, const std::string& cls, int rows, int cols, bool complex,
                     const std::vector<double>& re, const std::vector<double>& im);
std::string DescribeText(const std::string& name, const std::string& text);

}  // namespace corvane_test
