#pragma once

#include <array>

/// The parts of the daemon's log that quillonctl recognises.
namespace LogMessages {

/// Start of a line, by QtMsgType; the time follows.
inline constexpr std::array<const char *, 5> tags{
    "[Debug:", "[qWarning:", "[Cirtiacl:", "[Fatal:", "[Qinfo:"};

// Texts, or their beginnings. A value follows a text that ends in a colon, "=" or a blank.

inline constexpr char version[] = "\n\nversion:";

inline constexpr char choice[] = "\n\n***Import Default ServerUrl [START]***";
inline constexpr char fileMissing[] = "agent.json not exists.";
inline constexpr char fileNotOpened[] = "agent.json open failed.";
inline constexpr char fileNotParsed[] = "QJsonParseError :";
inline constexpr char fileNotWritten[] = "agent.json write failed.";
inline constexpr char indexOutOfRange[] = "not server url index.";

inline constexpr char serverUrl[] = "server-url= ";
inline constexpr char probe[] = "sendHealthInfo url :";
inline constexpr char tlsFault[] = "TLS: ";
inline constexpr char requestFailed[] = "Failed: ";
inline constexpr char probeStatus[] = " --------Http Status Code Attribute ";
inline constexpr char probeTimeout[] = "warning: checkNetworkTimeout()";

inline constexpr char listenFailed[] = "quillon listen falie !";
inline constexpr char socketLost[] = "local socket lost, listening again : ";
inline constexpr char clientCame[] = "The new client is connected : ";
inline constexpr char clientLeft[] = "client disconnect !";
inline constexpr char clientError[] = "local socket error : ";
inline constexpr char clientDropped[] = "client does not read its answers, it is dropped";
inline constexpr char received[] = "recv client data : ";
inline constexpr char frame[] = "byteArray: ";

} // namespace LogMessages
