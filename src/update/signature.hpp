#pragma once
// ECDSA on P-256 over SHA-256.

#include <string>
#include <string_view>

namespace mbupdate {

// `publicKey` is Base64 of "ECS1", four bytes with the coordinates' size, X and Y; `signature` is
// Base64 of r and s, blanks around it do not count. All four numbers have 32 bytes, the highest
// first. False for whatever is not a good signature of exactly these bytes.
bool verifySignature(const std::string& publicKey, std::string_view message,
                     std::string_view signature);

}  // namespace mbupdate
