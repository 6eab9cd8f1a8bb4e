/// \file
/// An RSA key of 512 bits for the fuzz targets, always the same, so that cipher texts in their corpora stay
/// valid. It protects nothing.
#pragma once

#include <cstddef>
#include <string>

namespace nbitest {

inline std::string BytesOfHex(const std::string& hex)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

constexpr std::size_t FUZZ_KEY_SIZE = 64;
constexpr std::size_t FUZZ_KEY_ROOM = FUZZ_KEY_SIZE - 42;  // most bytes of plain text

/// PKCS#1 in DER.
inline const std::string& FuzzPrivateKey()
{
    static const std::string key = BytesOfHex(
        "3082013a020100024100b82be457948ae2f37dcab5ea47a8cd33c9fc95458398ba7bbbdab6f82581e50a35ded20cac8a"
        "d4c5f4ad1eea4b3adee2038506aad0b21a6861832e2b4dcfc6db0203010001024062135da21604701f6299948e92629e"
        "043a483be5acd2a45c48098cee506affe0ac972f0f77567f870a417ca91519bd22279454efcefcc5d15345e4108330a2"
        "e1022100e333a41ea272ccbd9f0416142957bf28ac3962290c76ddfcbea9748374e8d9cf022100cf83fb80ab03c3dcb8"
        "891713cb4f85be4b5d63de21e9b10912619bae4ec92135022100d2aebc6dbbee007585d36035e9f0784edb058b44cd4e"
        "1ca39699c475721fca7902202ca97242c20bc066cbccad8bd4111c6ed557973be2bea21c9ab929417db16a15022017dd"
        "37ea23199f95e27b72753c580353a4713db7c569d76acecf2fa972ef0f06");
    return key;
}

inline const std::string& FuzzPublicKey()
{
    static const std::string key = BytesOfHex(
        "3048024100b82be457948ae2f37dcab5ea47a8cd33c9fc95458398ba7bbbdab6f82581e50a35ded20cac8ad4c5f4ad1e"
        "ea4b3adee2038506aad0b21a6861832e2b4dcfc6db0203010001");
    return key;
}

}  // namespace nbitest
