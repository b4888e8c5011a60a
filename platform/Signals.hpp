#pragma once

namespace platform {

/// Sets what signals do to this program, whatever its parent left it, before anything else is done: a reader
/// that went away and a file beyond the permitted size are errors of the call and end nobody, and the end of
/// a child process can be waited for.
void setSignalDispositions();

} // namespace platform
