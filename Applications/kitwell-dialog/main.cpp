#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "kitwell-dialog/Session.h"
#include "kitwell-dialog/Toolkit.h"

// Shows one dialog for the process at the other end of standard input.
int main() {
    using kitwell::platform::DialogChannel;
    using kitwell::platform::FileDescriptor;
    kitwell::dialog::Session session(
        DialogChannel(FileDescriptor(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3))));
    if (gtk_init_check() == FALSE)
        return 1;
    if (!session.run()) {
        std::fputs("kitwell-dialog is started by the programs that show a dialog\n", stderr);
        return 2;
    }
    return 0;
}
