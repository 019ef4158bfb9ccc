// Captures as `dx7 replay` reads them: refused with a sentence, or shown frame by frame.
#include "error.h"
#include "input_file.h"
#include "recorder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const dx7fuzz::InputFile file(data, size);
    try {
        for (const dx7::RecordedFrame& frame : dx7::readRecording(file.path())) {
            if (dx7::describeFrame(frame).isEmpty()) {
                std::abort();
            }
        }
    } catch (const dx7::UsageError& error) {
        if (error.text().isEmpty()) {
            std::abort();
        }
    }
    return 0;
}
