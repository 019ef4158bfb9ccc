// Captures as `dx7 replay` reads them: refused with a sentence, or shown frame by frame.
#include "host/error.h"
#include "host/files/frame_text.h"
#include "host/files/recording.h"
#include "input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const dx7fuzz::InputFile file(data, size);
    try {
        dx7::RecordingReader reader(file.path());
        for (dx7::RecordedFrame frame; reader.next(&frame);) {
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
