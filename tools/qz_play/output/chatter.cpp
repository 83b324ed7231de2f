#include "output/chatter.h"

#include <fcntl.h>
#include <unistd.h>

hidden_chatter::hidden_chatter() : standard_error_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0))
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
}

hidden_chatter::~hidden_chatter()
{
    dup2(standard_error_, STDERR_FILENO);
    close(standard_error_);
}
