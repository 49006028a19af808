// Linked into the targets for texts that a process reads once. Of two members with the same name
// the toolkit's JSON parser leaks the first, when it holds a list or an object: that would end
// each run. What comes again and again (requests.cpp) is checked for leaks.

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the sanitizer's name
extern "C" const char *__asan_default_options()
{
    return "detect_leaks=0";
}
