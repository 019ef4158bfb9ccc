/// \file
/// Processor time and wake-ups of this process, and which processor it runs on.
#ifndef DX7_BENCH_PROCESSOR_H
#define DX7_BENCH_PROCESSOR_H

namespace dx7bench {

/// User and system time of this process in seconds, and how often it has waited and was woken.
struct Effort {
    double seconds = 0;
    double wakeUps = 0;
};
Effort effortSoFar();

/// Clients run on the first processor that the program may use, devices on the last: so all clients are
/// compared on the same processor, and none pays for what the device does. From now on, for this process and
/// those that it makes.
void runAsClient();
void runAsDevice();
/// Whether client and device have a processor each.
bool processorsSuffice();

}  // namespace dx7bench

#endif
