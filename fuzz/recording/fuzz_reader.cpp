// Any bytes as a recording: read it; if it reads cleanly, decode every
// report as replay --decode would and describe each as the writer would.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

#include "recording/hidrec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const int fd = memfd_create("recording", MFD_CLOEXEC);
    if (fd < 0)
        return 0;
    size_t done = 0;
    while (done < size) {
        const ssize_t n = write(fd, data + done, size - done);
        if (n <= 0)
            break;
        done += size_t(n);
    }
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    hidrec::Header header;
    std::vector<hidrec::Event> events;
    hidrec::Error error;
    if (hidrec::readFile(path, &header, &events, &error)) {
        hidrec::Decoder decoder(header.pid);
        std::vector<hidrec::Decoded> out;
        for (const hidrec::Event &e : events) {
            decoder.feed(e.usec, e.bytes.data(), e.bytes.size(), &out);
            (void)hidrec::describe(header.pid, e.bytes.data(), e.bytes.size());
        }
        for (const hidrec::Decoded &d : out)
            (void)(d.multi ? hidrec::formatMultiTouch(d.multiTouch) : hidrec::formatTouch(d.touch));
    } else if (error.message().empty()) {
        __builtin_trap();  // a refusal always says why
    }
    close(fd);
    return 0;
}
