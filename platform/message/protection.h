// Whether a message is signed or encrypted in the sense of the message format (S/MIME, OpenPGP).
//
// Actions ask before they change a text, so what counts is whether the body that they would change is
// protected. Where a message is ambiguous the answer is yes: a stamp that is left out does less harm than a
// signature that is broken or a ciphertext that is mangled.
//
//   signed      multipart/signed; application/pkcs7-mime (or x-pkcs7-mime) with signed data; a text with an
//               OpenPGP cleartext signature
//   encrypted   multipart/encrypted; application/pkcs7-mime with enveloped data; a text that is an OpenPGP
//               message
//
// at the root, or around or in front of the body. The body is the first text part that is not marked as
// attachment, attached messages left aside. So a signed message to which a mailing list has added a footer
// (multipart/mixed of the signed part and the footer) is signed, and one that only carries something signed
// behind its text is not.
//
// The kind of pkcs7-mime data is what its smime-type says; certs-only and compressed-data protect nothing.
// When it says nothing that is known, the kind is read from the data, and data that cannot be read is taken
// for encrypted: before there was the parameter, this type was for enveloped data.
//
// Of several Content-Type fields, and of several transfer encodings, each is considered. Signatures of the
// transport (DKIM) are none here. Nothing is verified.
#pragma once

#include <optional>
#include <string_view>

#include "platform/message/structure/structure.h"

namespace quzo::platform {

struct Protection {
    bool isSigned = false;
    bool isEncrypted = false;
};

// The answer for a whole message, whose scan `structure` is.
Protection findProtection(std::string_view text, const Structure& structure);

// What the root header says without a scan of the tree: everything about a message of a single part, and for
// a multipart the answers that its own type gives; an answer that needs the tree is missing.
struct RootProtection {
    std::optional<bool> isSigned;
    std::optional<bool> isEncrypted;
};
RootProtection findRootProtection(std::string_view text, const HeaderSpan& rootHeader);

} // namespace quzo::platform
