#pragma once

/// Cuts the process off from what its starter left it: the environment, which
/// must not change what the daemon does; a umask that would let others write
/// its files; closed standard descriptors, which a socket would take; and the
/// signals with which a broken pipe or a file size limit ends a process.
/// Call first in main(), before the toolkit reads any of them.
void isolateFromStarter();
