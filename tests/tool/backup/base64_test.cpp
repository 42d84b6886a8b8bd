#include "backup/base64.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <string>

namespace msg_tarvel::tool {
namespace {

struct Decoded {
  std::string bytes;
  bool isWhole = false;
};

Decoded decode_in_pieces(const std::string& text, std::size_t pieceSize) {
  Base64Decoder decoder;
  Decoded decoded;
  for (std::size_t at = 0; at < text.size(); at += pieceSize) {
    const std::string piece = text.substr(at, pieceSize);
    decoder.decode(piece.data(), piece.size(), decoded.bytes);
  }
  decoded.isWhole = decoder.isWhole();
  return decoded;
}

TEST(Base64, DecodesWhateverThePieces) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    gchar* const encoded =
        g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size());
    for (const std::size_t pieceSize : {1U, 2U, 3U, 5U, 64U, 1000U}) {
      const Decoded decoded = decode_in_pieces(encoded, pieceSize);
      EXPECT_EQ(decoded.bytes, bytes);
      EXPECT_TRUE(decoded.isWhole) << encoded;
    }
    g_free(encoded);
    bytes += static_cast<char>(i * 7);
  }
}

TEST(Base64, PassesOverBlanksAndLineEnds) {
  const Decoded decoded = decode_in_pieces(" aGVs\r\nbG8g\td29y bGQ=\n", 3);
  EXPECT_EQ(decoded.bytes, "hello world");
  EXPECT_TRUE(decoded.isWhole);
}

TEST(Base64, NoticesDamage) {
  for (const char* text : {"aGVs*G8=", "aGVsbG8", "aGVsbA", "a", "=", "a===", "aGVsbG8=aGVs",
                           "aGVs\xC3\xA9", "aG=s", "aGVsbG8-"}) {
    EXPECT_FALSE(decode_in_pieces(text, 100).isWhole) << text;
    EXPECT_FALSE(decode_in_pieces(text, 1).isWhole) << text;
  }
}

}  // namespace
}  // namespace msg_tarvel::tool
