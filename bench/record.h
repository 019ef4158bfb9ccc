/// \file
/// What a benchmark found out, one line of JSON per figure on standard output, for bench/report.py.
#ifndef DX7_BENCH_RECORD_H
#define DX7_BENCH_RECORD_H

#include <string>

namespace dx7bench {

/// Collects named fields and prints them as one line when it goes out of scope. Names and texts must not hold
/// quotation marks, backslashes or control characters.
class Record {
public:
    explicit Record(const std::string& program);
    ~Record();
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    Record& text(const std::string& name, const std::string& value);
    Record& number(const std::string& name, double value);

private:
    std::string line_;
};

/// Progress, on standard error.
void say(const std::string& line);

}  // namespace dx7bench

#endif
