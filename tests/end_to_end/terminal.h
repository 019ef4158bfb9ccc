/// \file
/// A terminal that tmux keeps: a test types keys and looks at what it shows.
#ifndef DX7_TESTS_END_TO_END_TERMINAL_H
#define DX7_TESTS_END_TO_END_TERMINAL_H

#include <chrono>
#include <regex>
#include <stdexcept>
#include <thread>

#include "rig.h"

/// A terminal of its own, with a program in it.
class Terminal {
public:
    Terminal(const std::string& socket, const Words& command, int columns, int rows) : socket_(socket) {
        Words words = {"-f", "/dev/null",          "new-session", "-d",    "-x", std::to_string(columns),
                       "-y", std::to_string(rows), "-s",          "screen"};
        // The shell keeps the screen after the program's end and shows its exit code.
        std::string line = "LC_ALL=C.UTF-8";
        for (const std::string& word : command) {
            line += " '" + word + "'";
        }
        words.push_back(line + "; echo \"exit code $?\"; exec sleep 60");
        Finished started = tmux(words);
        // The server that a terminal on this socket had before may still be ending.
        for (int i = 0; i < 50 && started.exitCode != 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            started = tmux(words);
        }
        if (started.exitCode != 0) {
            throw std::runtime_error("tmux: " + started.errors);
        }
    }
    ~Terminal() { tmux({"kill-server"}); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    std::string screen() const { return tmux({"capture-pane", "-p", "-t", "screen"}).output; }
    void type(const Words& keys) const {
        Words words{"send-keys", "-t", "screen"};
        words.insert(words.end(), keys.begin(), keys.end());
        tmux(words);
    }
    void resize(int columns, int rows) const {
        tmux({"resize-window", "-t", "screen", "-x", std::to_string(columns), "-y", std::to_string(rows)});
    }
    /// What tmux says of the terminal, such as "1" for "cursor_flag" while the cursor is visible.
    std::string says(const std::string& variable) const {
        const std::string line =
            tmux({"display-message", "-p", "-t", "screen", "#{" + variable + "}"}).output;
        return line.substr(0, line.find('\n'));
    }
    /// Whether something that matches comes to show on the screen.
    bool shows(const std::string& pattern) const {
        const std::regex regex(pattern);
        return eventually([&] { return std::regex_search(screen(), regex); });
    }

private:
    Finished tmux(const Words& words) const {
        Words all{DX7_TMUX, "-S", socket_};
        all.insert(all.end(), words.begin(), words.end());
        return runToEnd(all);
    }

    std::string socket_;
};

#endif
