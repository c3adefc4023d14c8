#pragma once

/// A shortage of memory ends the program with one line and an exit code, never with a signal.
namespace zd::tool {

/// What the program returns from now on when memory runs out where no failure can be told: inside a library that does
/// not expect it, or while another failure is told. 1 at first.
void setExitCodeWithoutMemory(int code);

/// Says so on standard error, without memory, and gives that exit code.
int complainOfMemory();

} // namespace zd::tool
