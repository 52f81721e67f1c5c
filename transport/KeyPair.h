#pragma once

#include <string>

#include "valuefault/Export.h"

namespace zarvo::transport {

/// A CURVE key pair in ZeroMQ's Z85 text (40 characters each).
class ZARVO_EXPORT KeyPair {
public:
    /// A new random pair.
    static KeyPair generate();
    /// Reads NAME.pub and NAME.key (the secret); throws if either is missing or not a key.
    static KeyPair load(const std::string& name);
    /// Reads a public key from a file holding its Z85 text; throws if it is not one.
    static std::string loadPublic(const std::string& path);
    /// Writes NAME.pub and NAME.key, the secret readable and writable by its owner only.
    void save(const std::string& name) const;

    std::string publicKey;  ///< Z85, 40 characters.
    std::string secretKey;  ///< Z85, 40 characters.
};

}  // namespace zarvo::transport
