// Preloaded into the program: each read of a length scan takes ten seconds, as on a disk that hangs.

#include <mpg123.h>

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

thread_local bool scans = false;

} // namespace

extern "C" int mpg123_scan(mpg123_handle* decoder)
{
    scans = true;
    const int result =
        reinterpret_cast<int (*)(mpg123_handle*)>(dlsym(RTLD_NEXT, "mpg123_scan"))(decoder);
    scans = false;
    return result;
}

extern "C" ssize_t read(int file, void* bytes, size_t size)
{
    if (scans) {
        sleep(10);
    }
    return syscall(SYS_read, file, bytes, size);
}
