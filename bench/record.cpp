#include "record.h"

#include <cstdio>

namespace dx7bench {

Record::Record(const std::string& program) : line_("{\"program\": \"" + program + "\"") {}

Record::~Record() {
    std::printf("%s}\n", line_.c_str());
    std::fflush(stdout);
}

Record& Record::text(const std::string& name, const std::string& value) {
    line_ += ", \"" + name + "\": \"" + value + "\"";
    return *this;
}

Record& Record::number(const std::string& name, double value) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.10g", value);
    line_ += ", \"" + name + "\": " + digits;
    return *this;
}

void say(const std::string& line) {
    std::fprintf(stderr, "   %s\n", line.c_str());
}

}  // namespace dx7bench
