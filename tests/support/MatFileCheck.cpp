#include "support/MatFileCheck.h"

#include <cstdio>
#include <sstream>

#include "support/FileTestUtil.h"

namespace corvane_test {

namespace {

MatDescription Parse(const std::string& output) {
    MatDescription d;
    std::istringstream in(output);
    std::string line;
    while (std::getline(in, line)) {
        const size_t blank = line.find(' ');
        if (blank == std::string::npos || line.rfind("warning", 0) == 0) continue;
        d[line.substr(0, blank)] = line;
    }
    return d;
}

}  // namespace

MatDescription ReadWithOctave(const std::string& path) {
    return Parse(Octave("S = load('" + path + R"(');
names = fieldnames(S);
printf("#order");
for k = 1:numel(names)
  printf(" %s", names{k});
end
printf("\n");
for k = 1:numel(names)
  v = S.(names{k});
  printf("%s %s %d %d %d", names{k}, class(v), rows(v), columns(v), iscomplex(v));
  if ischar(v)
    printf(" [%s]", v);
  else
    d = double(v(:));
    for i = 1:numel(d)
      printf(" %.17g %.17g", real(d(i)), imag(d(i)));
    end
  end
  printf("\n");
end)"));
}

MatDescription ReadWithScipy(const std::string& path) {
    return Parse(Python("import scipy.io\npath = r'" + path + R"('
info = scipy.io.whosmat(path)
print('#order ' + ' '.join(name for name, _, _ in info))
S = scipy.io.loadmat(path, chars_as_strings=False, squeeze_me=False)
for name, shape, cls in info:
    v = S[name]
    rows, cols = v.shape
    if cls == 'char':
        print('%s char %d %d 0 [%s]' % (name, rows, cols, ''.join(v.ravel(order='F'))))
    else:
        values = ''.join(' %.17g %.17g' % (float(np.real(x)), float(np.imag(x))) for x in v.ravel(order='F'))
        print('%s %s %d %d %d%s' % (name, cls, rows, cols, 1 if np.iscomplexobj(v) else 0, values))
)"));
}

std::string Describe(const std::string& name, const std::string& cls, int rows, int cols, bool complex,
                     const std::vector<double>& re, const std::vector<double>& im) {
    std::string line = name + " " + cls + " " + std::to_string(rows) + " " + std::to_string(cols) + " " +
                       (complex ? "1" : "0");
    char buf[64];
    for (size_t i = 0; i < re.size(); ++i) {
        std::snprintf(buf, sizeof buf, " %.17g %.17g", re[i], i < im.size() ? im[i] : 0.0);
        line += buf;
    }
    return line;
}

std::string DescribeText(const std::string& name, const std::string& text) {
    return name + " char " + (text.empty() ? "0 0" : "1 " + std::to_string(text.size())) + " 0 [" + text +
           "]";
}

}  // namespace corvane_test
