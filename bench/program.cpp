#include "program.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>

namespace dx7bench {

namespace {

const int MOST_ROUNDS = 1000;

bool parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--quick") == 0) {
            options.quick = true;
        } else if (std::strcmp(argv[i], "--rounds") == 0 && i + 1 < argc) {
            options.rounds = static_cast<int>(std::strtol(argv[++i], nullptr, 10));
        } else {
            return false;
        }
    }
    return options.rounds >= 1 && options.rounds <= MOST_ROUNDS;
}

}  // namespace

int runProgram(int argc, char** argv, const std::function<void(const Options&)>& program) {
    Options options;
    if (!parse(argc, argv, options)) {
        say(std::string("usage: ") + argv[0] + " [--rounds N] [--quick]");
        return 2;
    }
    try {
        program(options);
    } catch (const std::exception& error) {
        say(std::string(argv[0]) + ": " + error.what());
        return 1;
    }
    return 0;
}

void print(const nlohmann::json& result) {
    std::cout << result << std::endl;
}

void say(const std::string& line) {
    std::cerr << "   " << line << '\n';
}

}  // namespace dx7bench
