/// \file
/// What server and client of the example agree on besides the IDL.
#pragma once

namespace northbound {

/// Key of the server's one object: "corbaloc:iiop:<host>:<port>/Northbound".
constexpr const char* OBJECT_KEY = "Northbound";

constexpr const char* DEFAULT_ADDRESS = "127.0.0.1";
constexpr int DEFAULT_PORT = 12809;

/// Bytes of a message, requests and answers alike. Lists come in pages for it.
constexpr unsigned int MAX_MESSAGE = 65536;

/// The codes of this server's own failures; nbiutil/errcode.h has those of the library.
namespace ErrCode {
/// No managed object of that name.
constexpr unsigned int UNKNOWN_OBJECT = 0x4E420001U;
/// An argument outside its range.
constexpr unsigned int BAD_ARGUMENT = 0x4E420002U;
/// The machine did not give its figures.
constexpr unsigned int NO_FIGURES = 0x4E420003U;
/// A collection file could not be written.
constexpr unsigned int FILE_NOT_WRITTEN = 0x4E420004U;
/// The request was never carried out: every descriptor holds this until its task ends.
constexpr unsigned int NOT_CARRIED_OUT = 0x4E420005U;
/// A collection was cut short because the server stops.
constexpr unsigned int CUT_SHORT = 0x4E420006U;
/// Something that nobody foresaw went wrong in the server; the detail says what.
constexpr unsigned int INTERNAL = 0x4E420007U;
/// The text of an encrypted secret is not what the server's key wants.
constexpr unsigned int BAD_CIPHER_TEXT = 0x4E420008U;
/// A secret could not be decrypted.
constexpr unsigned int NOT_DECRYPTED = 0x4E420009U;
/// The program that packs cannot be started.
constexpr unsigned int CANNOT_PACK = 0x4E42000AU;
/// The configuration file cannot be edited so that exactly one item changes, or does not load with the
/// change.
constexpr unsigned int NOT_CONFIGURED = 0x4E42000BU;
/// User or password are not right, or the caller has to log in first.
constexpr unsigned int NOT_LOGGED_IN = 0x4E42000CU;
/// The caller's role does not allow this operation.
constexpr unsigned int NOT_ALLOWED = 0x4E42000DU;
/// Too many logins at once, or too many that failed; the detail says when to try again.
constexpr unsigned int TRY_LATER = 0x4E42000EU;
/// A collection was cancelled, or its caller has gone.
constexpr unsigned int CANCELLED = 0x4E42000FU;
/// The book of collections cannot be reached or does not answer; nobody knows whether it did what was asked.
constexpr unsigned int BOOK_AWAY = 0x4E420010U;
/// The book knows no collection of that operation, or has forgotten it.
constexpr unsigned int UNKNOWN_OPERATION = 0x4E420011U;
/// The part of a collection is not where this server can read it.
constexpr unsigned int PART_ELSEWHERE = 0x4E420012U;
}  // namespace ErrCode

}  // namespace northbound
