#include <Bases/Bases.h>
#include <Bases/File.h>
#include <cstdio>
int main(int argc, char** argv) {
    Vorn::BasesInit();
    Vorn::FileIo file;
    if (argc == 2 && file.Open(argv[1], 0x80000000, 1, 4)) // to read, shared, must exist
        std::printf("%lld bytes\n", file.GetFileSize());
    Vorn::BasesRelease();
}
