// Loads the libraries named on the command line one after the other, as a host would, and prints by how many
// bytes the heap in use has grown by the last one.
#include <dlfcn.h>
#include <malloc.h>

#include <cstdio>

int main(int argc, char** argv) {
    size_t before = 0;
    for (int i = 1; i < argc; ++i) {
        before = mallinfo2().uordblks;
        if (dlopen(argv[i], RTLD_NOW | RTLD_LOCAL) == nullptr) {
            std::fprintf(stderr, "load: %s\n", dlerror());
            return 1;
        }
    }
    std::printf("%zu\n", mallinfo2().uordblks - before);
    return 0;
}
