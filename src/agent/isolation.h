#pragma once

/// Makes the process independent of the program that starts it:
/// - clears the environment, which must not change what the daemon does
/// - sets the umask so that only the owner can write new files
/// - opens closed standard descriptors, or a socket would get their numbers
/// - ignores SIGPIPE and SIGXFSZ, which would end the process
/// Call it first in main(), before Qt reads any of these.
void isolateFromStarter();
