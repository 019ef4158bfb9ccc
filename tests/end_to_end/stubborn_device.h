/// \file
/// A station that acknowledges every write and keeps all its registers at 7.
#ifndef DX7_TESTS_END_TO_END_STUBBORN_DEVICE_H
#define DX7_TESTS_END_TO_END_STUBBORN_DEVICE_H

#include <string>
#include <thread>

/// Serves RTU frames over TCP on a thread of its own, one client after the other, until its end.
class StubbornDevice {
public:
    /// Requests that touch the parameter's register, to read (0xF...) or to write (0xE...), are refused.
    explicit StubbornDevice(int missing = -1);
    ~StubbornDevice();
    StubbornDevice(const StubbornDevice&) = delete;
    StubbornDevice& operator=(const StubbornDevice&) = delete;

    /// "127.0.0.1:PORT".
    std::string address() const;

private:
    void run() const;

    int missing_;
    int listener_ = -1;
    int stopRead_ = -1;
    int stopWrite_ = -1;
    std::thread thread_;
};

#endif
