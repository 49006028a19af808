// Of two members with the same name, Qt's JSON parser leaks the first one if it is a list or an
// object. That would end every run of a target that has Qt parse any text, so those link this file.
// What the daemon parses of a client (requests.cpp) is checked for leaks.

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the sanitizer's name
extern "C" const char *__asan_default_options()
{
    return "detect_leaks=0";
}
