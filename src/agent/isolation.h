#pragma once

/// Shields the process from what its starter passes on. Clears the environment,
/// which must not change what the daemon does. Forbids others to write its files,
/// whatever the umask. Opens closed standard descriptors, which sockets would
/// get. Ignores the signals that end a process at a broken pipe or a file size
/// limit. Call first in main(), before Qt reads any of them.
void isolateFromStarter();
