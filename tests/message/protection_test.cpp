// Tests of what counts as a signed and as an encrypted message.
#include "platform/message/protection.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quzo::platform::test {

namespace {

constexpr bool kYes = true;
constexpr bool kNo = false;

struct ProtectionCase {
    const char* name;
    std::string text;
    bool isSigned;
    bool isEncrypted;
};

const std::string kSignedText =
    "-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA256\n\nhi\n-----BEGIN PGP SIGNATURE-----\n";
const std::string kPgpMessage = "-----BEGIN PGP MESSAGE-----\n\nabc\n-----END PGP MESSAGE-----\n";
// The first bytes of signed and of enveloped data, in base64.
const std::string kSignedData = "MIIGoQYJKoZIhvcNAQcCoIIGkjCCBo4CAQExDzANBglghkgBZQMEAgEFADAL\n";
const std::string kEnvelopedData = "MIIBoQYJKoZIhvcNAQcDoIIBkjCCAY4CAQAxggFKMIIBRgIBADAuMBoxGDAW\n";

std::string pkcs7(const std::string& parameters, const std::string& body) {
    return "Content-Type: application/pkcs7-mime" + parameters + "\nContent-Transfer-Encoding: base64\n\n" +
           body;
}

// A multipart of the given parts, each with its header.
std::string multipart(const std::string& subtype, std::initializer_list<std::string> parts) {
    std::string text = "Content-Type: multipart/" + subtype + "; boundary=" + subtype + "\n\n";
    for (const std::string& part : parts) {
        text.append("--").append(subtype).append("\n").append(part).append("\n");
    }
    return text + "--" + subtype + "--\n";
}

std::vector<ProtectionCase> protectionCases() {
    const std::string text = "Content-Type: text/plain\n\nhello\n";
    const std::string footer = "\nthe footer of a list\n";
    const std::string signature = "Content-Type: application/pgp-signature\n\nx\n";
    const std::string signedPart = multipart("signed", {text, signature});
    const std::string encryptedPart =
        multipart("encrypted", {"Content-Type: application/pgp-encrypted\n\nVersion: 1\n",
                                "Content-Type: application/octet-stream\n\n" + kPgpMessage});
    const std::string base64 = "Content-Transfer-Encoding: base64\n\n";
    return {
        {"plain", text, kNo, kNo},
        {"no data", "", kNo, kNo},
        // At the root
        {"multipart/signed", signedPart, kYes, kNo},
        {"multipart/encrypted", encryptedPart, kNo, kYes},
        {"multipart/signed without its boundary", "Content-Type: Multipart/SIGNED\n\nx\n", kYes, kNo},
        {"signed, then encrypted inside", multipart("signed", {encryptedPart, signature}), kYes, kYes},
        {"the first of two types", "Content-Type: multipart/signed\nContent-Type: text/plain\n\nx\n", kYes,
         kNo},
        {"the second of two types", "Content-Type: text/plain\nContent-Type: multipart/encrypted\n\nx\n", kNo,
         kYes},
        {"DKIM", "DKIM-Signature: v=1\n\nx\n", kNo, kNo},
        // S/MIME
        {"signed-data", pkcs7("; smime-type=Signed-Data", kEnvelopedData), kYes, kNo},
        {"signed-data, the old name",
         "Content-Type: application/X-pkcs7-mime; smime-type=\"signed-data\"\n\n", kYes, kNo},
        {"enveloped-data", pkcs7("; name=smime.p7m; smime-type=enveloped-data", kSignedData), kNo, kYes},
        {"authenveloped-data", pkcs7("; smime-type=authEnveloped-data", ""), kNo, kYes},
        {"certificates", pkcs7("; smime-type=certs-only", kSignedData), kNo, kNo},
        {"compressed-data", pkcs7("; smime-type=compressed-data", ""), kNo, kNo},
        {"no kind, signed data", pkcs7("", kSignedData), kYes, kNo},
        {"no kind, enveloped data", pkcs7("; name=smime.p7m", kEnvelopedData), kNo, kYes},
        {"unknown kind, signed data", pkcs7("; smime-type=x", kSignedData), kYes, kNo},
        {"one of two types has no kind",
         "Content-Type: application/pkcs7-mime\n" + pkcs7("; smime-type=certs-only", kEnvelopedData), kNo,
         kYes},
        {"no kind, data that cannot be read", pkcs7("", "AAAA"), kNo, kYes},
        {"no kind, no data", pkcs7("", ""), kNo, kYes},
        {"a detached signature alone", "Content-Type: application/pkcs7-signature\n\nx\n", kNo, kNo},
        // OpenPGP in the text
        {"signed text", "\n" + kSignedText, kYes, kNo},
        {"signed text, CRLF", "\r\nhi\r\n-----BEGIN PGP SIGNED MESSAGE-----\r\n", kYes, kNo},
        {"PGP message", "Subject: x\n\nsee below\n\n" + kPgpMessage, kNo, kYes},
        {"one part of a PGP message", "\n-----BEGIN PGP MESSAGE, PART 1/2-----\n", kNo, kYes},
        {"both", "\n" + kSignedText + kPgpMessage, kYes, kYes},
        {"quoted", "\n> -----BEGIN PGP SIGNED MESSAGE-----\n - -----BEGIN PGP MESSAGE-----\n", kNo, kNo},
        {"a key is neither", "\n-----BEGIN PGP PUBLIC KEY BLOCK-----\n", kNo, kNo},
        {"a mark that is cut off", "\n-----BEGIN PGP SIGNED MESSAGE----", kNo, kNo},
        {"in the header", "Subject: x\n-----BEGIN PGP MESSAGE-----\n\nx\n", kNo, kNo},
        {"root of any type", "Content-Type: application/pgp\n\n" + kPgpMessage, kNo, kYes},
        {"base64", base64 + "aGkKCi0tLS0tQkVHSU4gUEdQIE1FU1NBR0UtLS0tLQoKYWJj\n", kNo, kYes},
        {"quoted-printable",
         "Content-Transfer-Encoding: quoted-printable\n\n=2D----BEGIN PGP SIGNED=20MESS=\nAGE-----\n", kYes,
         kNo},
        {"one of two encodings",
         "Content-Transfer-Encoding: 7bit\nContent-Transfer-Encoding: quoted-printable\n\n=2D----BEGIN PGP "
         "MESSAGE-----\n",
         kNo, kYes},
        {"base64 that is plain text", base64 + kPgpMessage, kNo, kYes},
        // As the body
        {"signed, with a footer", multipart("mixed", {signedPart, footer}), kYes, kNo},
        {"encrypted, with a footer", multipart("mixed", {encryptedPart, footer}), kNo, kYes},
        {"S/MIME, with a footer",
         multipart("mixed", {pkcs7("; smime-type=enveloped-data", kEnvelopedData), footer}), kNo, kYes},
        {"signed behind the body", multipart("mixed", {text, signedPart}), kNo, kNo},
        {"PGP message as the body", multipart("mixed", {"\n" + kPgpMessage, footer}), kNo, kYes},
        {"PGP message as the second alternative",
         multipart("alternative", {text, "Content-Type: text/html\n\n" + kPgpMessage}), kNo, kNo},
        {"PGP message behind an attached text",
         multipart("mixed", {"Content-Disposition: ATTACHMENT; filename=x\n\nx\n", "\n" + kPgpMessage}), kNo,
         kYes},
        {"PGP message attached",
         multipart("mixed", {"Content-Disposition: attachment\n\n" + kPgpMessage, text}), kNo, kNo},
        {"in an attached message",
         multipart("mixed", {"Content-Type: message/rfc822\n\n" + signedPart, text}), kNo, kNo},
        {"body behind an attached message",
         multipart("mixed", {"Content-Type: message/rfc822\n\n" + text, "\n" + kSignedText}), kYes, kNo},
    };
}

TEST(Protection, CountsWhatProtectsTheBody) {
    for (const ProtectionCase& c : protectionCases()) {
        const HeaderSpan header = scanHeader(c.text, 0, c.text.size(), {});
        const Protection found = findProtection(c.text, scanStructure(c.text, header, {}));
        EXPECT_EQ(found.isSigned, c.isSigned) << c.name;
        EXPECT_EQ(found.isEncrypted, c.isEncrypted) << c.name;
        // What the root alone says must be the same, as far as it goes.
        const RootProtection root = findRootProtection(c.text, header);
        EXPECT_EQ(root.isSigned.value_or(c.isSigned), c.isSigned) << c.name;
        EXPECT_EQ(root.isEncrypted.value_or(c.isEncrypted), c.isEncrypted) << c.name;
    }
}

TEST(Protection, TheRootAnswersForSinglePartsAndItsOwnType) {
    const auto ask = [](std::string_view text) {
        return findRootProtection(text, scanHeader(text, 0, text.size(), {}));
    };
    EXPECT_EQ(ask("Subject: x\n\nx\n").isSigned, std::optional(false));
    EXPECT_EQ(ask("Content-Type: application/pkcs7-mime; smime-type=enveloped-data\n\n").isEncrypted,
              std::optional(true));
    EXPECT_EQ(ask("Content-Type: multipart/signed; boundary=a\n\n").isSigned, std::optional(true));
    EXPECT_EQ(ask("Content-Type: multipart/signed; boundary=a\n\n").isEncrypted, std::nullopt);
    EXPECT_EQ(ask("Content-Type: multipart/mixed; boundary=a\n\n").isSigned, std::nullopt);
}

// A mark must be found wherever the pieces of a long encoded body happen to end.
TEST(Protection, FindsMarksAcrossPieces) {
    const std::string mark = "-----BEGIN PGP SIGNED MESSAGE-----\n";
    for (std::size_t before = 65536 - 40; before < 65536 + 40; ++before) {
        const std::string text = "Content-Transfer-Encoding: quoted-printable\n\n" +
                                 std::string(before - 1, 'x') + "\n" + mark + std::string(70000, 'y');
        const std::string middle =
            "Content-Transfer-Encoding: quoted-printable\n\n" + std::string(before, 'x') + mark;
        EXPECT_EQ(findRootProtection(text, scanHeader(text, 0, text.size(), {})).isSigned,
                  std::optional(true))
            << before;
        EXPECT_EQ(findRootProtection(middle, scanHeader(middle, 0, middle.size(), {})).isSigned,
                  std::optional(false))
            << before;
    }
}

} // namespace

} // namespace quzo::platform::test
