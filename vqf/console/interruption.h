#pragma once

namespace zd::tool {

/// Makes SIGINT, SIGTERM and SIGHUP ask the running job to stop instead of ending the program at once; a second
/// signal of the same kind ends it. A reader of standard output that goes away ends the program quietly. A file that would exceed the process's limit becomes an ordinary write error.
void watchSignals();

/// The signal that asked to stop; 0 while there was none.
int interruption();

} // namespace zd::tool
