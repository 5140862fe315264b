#pragma once
// A reader that goes away early (a pager, a server that dies) and a limit on the size of files are
// failed writes, reported like others, and no reason to die in the middle of a load.

#include <signal.h>

namespace vantry {

inline void MakeFailedWritesErrors() {
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace vantry
