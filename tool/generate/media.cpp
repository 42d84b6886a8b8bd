// The smallest encoders that make valid files: nothing is compressed that need not be.

#include "generate/media.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "generate/people.h"

namespace msg_tarvel::tool {

namespace {

void put(std::string& bytes, std::initializer_list<int> values) {
  for (const int value : values) bytes += static_cast<char>(value);
}

void put_big_endian(std::string& bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
}

void put_little_endian(std::string& bytes, std::uint32_t value, int size) {
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> (8 * i));
}

/** A picture's pixels: fields of a few colours, as of something photographed from very near. */
class Fields {
 public:
  static constexpr int SIDE = 8;
  static constexpr int COLOURS = 3;

  explicit Fields(Chance& chance) : _columns(chance.between(2, 4)), _rows(chance.between(2, 4)) {
    for (int i = 0; i < _columns * _rows * COLOURS; ++i) {
      _values.push_back(chance.between(0, 255));
    }
  }

  int width() const { return _columns * SIDE; }
  int height() const { return _rows * SIDE; }
  int columns() const { return _columns; }
  int rows() const { return _rows; }
  /** 0 to 255 */
  int value(int column, int row, int colour) const {
    const int index = (row * _columns + column) * COLOURS + colour;
    return _values[static_cast<std::size_t>(index)];
  }
  int pixel(int x, int y, int colour) const { return value(x / SIDE, y / SIDE, colour); }

 private:
  int _columns;
  int _rows;
  std::vector<int> _values;
};

std::uint32_t crc32_of(std::string_view bytes) {
  std::uint32_t crc = 0xffffffffU;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1U) ? 0xedb88320U : 0U);
  }
  return ~crc;
}

std::uint32_t adler32_of(std::string_view bytes) {
  constexpr std::uint32_t MODULUS = 65521;
  std::uint32_t sum = 1;
  std::uint32_t sumOfSums = 0;
  for (const char byte : bytes) {
    sum = (sum + static_cast<unsigned char>(byte)) % MODULUS;
    sumOfSums = (sumOfSums + sum) % MODULUS;
  }
  return sumOfSums << 16 | sum;
}

void put_png_chunk(std::string& png, const std::string& typeAndData) {
  put_big_endian(png, static_cast<std::uint32_t>(typeAndData.size() - 4));
  png += typeAndData;
  put_big_endian(png, crc32_of(typeAndData));
}

/** Writes codes of different lengths, as JPEG wants them: a byte 0xff is followed by 0. */
class JpegBits {
 public:
  explicit JpegBits(std::string& bytes) : _bytes(bytes) {}

  void put(int code, int length) {
    for (int bit = length - 1; bit >= 0; --bit) {
      _byte = _byte << 1 | (code >> bit & 1);
      if (++_bits == 8) _flush();
    }
  }
  void fill() {
    while (_bits != 0) put(1, 1);
  }

 private:
  void _flush() {
    _bytes += static_cast<char>(_byte);
    if (_byte == 0xff) _bytes += '\0';
    _byte = 0;
    _bits = 0;
  }

  std::string& _bytes;
  int _byte = 0;
  int _bits = 0;
};

/** Huffman codes of the numbers of bits of a difference, as the table in the file says. */
struct Code {
  int bits;
  int length;
};
constexpr std::array<Code, 9> DIFFERENCE_CODES = {
    {{0, 2}, {2, 3}, {3, 3}, {4, 3}, {5, 3}, {6, 3}, {14, 4}, {30, 5}, {62, 6}}};

void put_difference(JpegBits& bits, int difference) {
  int size = 0;
  while (std::abs(difference) >> size != 0) ++size;
  const Code& code = DIFFERENCE_CODES[static_cast<std::size_t>(size)];
  bits.put(code.bits, code.length);
  bits.put(difference < 0 ? difference + (1 << size) - 1 : difference, size);
}

void put_jpeg_head(std::string& jpeg, const Fields& fields) {
  put(jpeg, {0xff, 0xd8, 0xff, 0xe0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0});
  // Every quantum is 8: a field's brightness is then its coefficient.
  put(jpeg, {0xff, 0xdb, 0, 67, 0});
  jpeg.append(64, '\x08');
  put(jpeg, {0xff, 0xc0, 0, 17, 8, 0, fields.height(), 0, fields.width(), 3});
  for (int component = 1; component <= 3; ++component) put(jpeg, {component, 0x11, 0});
  put(jpeg, {0xff, 0xc4, 0, 28, 0x00, 0, 1, 5, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  for (int size = 0; size <= 8; ++size) put(jpeg, {size});
  // Of what varies within a field there is nothing but its end.
  put(jpeg, {0xff, 0xc4, 0, 20, 0x10, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  put(jpeg, {0xff, 0xda, 0, 12, 3, 1, 0, 2, 0, 3, 0, 0, 63, 0});
}

}  // namespace

std::string make_png(Chance& chance) {
  const Fields fields(chance);
  std::string pixels;
  for (int y = 0; y < fields.height(); ++y) {
    pixels += '\0';  // no filter
    for (int x = 0; x < fields.width(); ++x) {
      put(pixels, {fields.pixel(x, y, 0), fields.pixel(x, y, 1), fields.pixel(x, y, 2)});
    }
  }

  std::string head = "IHDR";
  put_big_endian(head, static_cast<std::uint32_t>(fields.width()));
  put_big_endian(head, static_cast<std::uint32_t>(fields.height()));
  put(head, {8, 2, 0, 0, 0});
  std::string data = "IDAT\x78\x01\x01";
  put_little_endian(data, static_cast<std::uint32_t>(pixels.size()), 2);
  put_little_endian(data, ~static_cast<std::uint32_t>(pixels.size()), 2);
  data += pixels;
  put_big_endian(data, adler32_of(pixels));

  std::string png = "\x89PNG\r\n\x1a\n";
  put_png_chunk(png, head);
  put_png_chunk(png, data);
  put_png_chunk(png, "IEND");
  return png;
}

std::string make_jpeg(Chance& chance) {
  const Fields fields(chance);
  std::string jpeg;
  put_jpeg_head(jpeg, fields);
  JpegBits bits(jpeg);
  std::array<int, Fields::COLOURS> before = {};
  for (int row = 0; row < fields.rows(); ++row) {
    for (int column = 0; column < fields.columns(); ++column) {
      for (int component = 0; component < Fields::COLOURS; ++component) {
        const int value = std::clamp(fields.value(column, row, component), 1, 255) - 128;
        int& last = before[static_cast<std::size_t>(component)];
        put_difference(bits, value - last);
        bits.put(0, 1);
        last = value;
      }
    }
  }
  bits.fill();
  put(jpeg, {0xff, 0xd9});
  return jpeg;
}

std::string make_gif(Chance& chance) {
  const Fields fields(chance);
  std::string gif = "GIF89a";
  put(gif, {fields.width(), 0, fields.height(), 0, 0xf6, 0, 0});
  for (int colour = 0; colour < 128; ++colour) put(gif, {2 * colour, 255 - 2 * colour, colour});
  put(gif, {0x2c, 0, 0, 0, 0, fields.width(), 0, fields.height(), 0, 0, 7});

  // Codes stay a byte long as long as the table of strings is begun anew before it is full.
  constexpr int CLEAR = 128;
  constexpr int END = 129;
  constexpr std::size_t RUN = 100;
  std::string codes;
  for (int y = 0; y < fields.height(); ++y) {
    for (int x = 0; x < fields.width(); ++x) {
      if (codes.size() % (RUN + 1) == 0) put(codes, {CLEAR});
      put(codes, {fields.pixel(x, y, 0) / 2});
    }
  }
  put(codes, {END});
  constexpr std::size_t MOST = 255;
  for (std::size_t at = 0; at < codes.size(); at += MOST) {
    const std::string block = codes.substr(at, MOST);
    put(gif, {static_cast<int>(block.size())});
    gif += block;
  }
  put(gif, {0, 0x3b});
  return gif;
}

std::string make_wav(Chance& chance) {
  constexpr std::uint32_t RATE = 8000;
  const auto samples = static_cast<std::uint32_t>(chance.between(400, 800) * 2);
  const auto period = static_cast<std::uint32_t>(chance.between(10, 40) * 2);
  std::string wav = "RIFF";
  put_little_endian(wav, 36 + samples, 4);
  wav += "WAVEfmt ";
  put_little_endian(wav, 16, 4);
  put_little_endian(wav, 1, 2);
  put_little_endian(wav, 1, 2);
  put_little_endian(wav, RATE, 4);
  put_little_endian(wav, RATE, 4);
  put_little_endian(wav, 1, 2);
  put_little_endian(wav, 8, 2);
  wav += "data";
  put_little_endian(wav, samples, 4);
  for (std::uint32_t i = 0; i < samples; ++i) {
    const std::uint32_t phase = i % period;
    const std::uint32_t height = std::min(phase, period - phase) * 2;
    wav += static_cast<char>(64 + height * 127 / period);
  }
  return wav;
}

std::string make_amr(Chance& chance) {
  constexpr int BYTES_OF_A_FRAME = 12;  // of 4.75 kbit/s, 20 ms
  std::string amr = "#!AMR\n";
  for (int frames = chance.between(10, 50); frames > 0; --frames) {
    put(amr, {0x04});
    for (int i = 0; i < BYTES_OF_A_FRAME - 1; ++i) put(amr, {chance.between(0, 255)});
    put(amr, {chance.between(0, 127) * 2});  // a frame has 95 bits
  }
  return amr;
}

std::string make_vcard(Chance& chance) {
  const std::string name = person_name(chance);
  return "BEGIN:VCARD\r\nVERSION:3.0\r\nN:;" + name + ";;;\r\nFN:" + name +
         "\r\nTEL;TYPE=CELL:" + number_of_person(chance.below(PEOPLE)) + "\r\nEND:VCARD\r\n";
}

Medium make_medium(Chance& chance) {
  struct Kind {
    std::size_t below;
    const char* contentType;
    const char* name;
    const char* extension;
    std::string (*make)(Chance&);
  };
  static constexpr Kind KINDS[] = {{600, "image/jpeg", "IMG_", ".jpg", &make_jpeg},
                                   {750, "image/png", "Screenshot_", ".png", &make_png},
                                   {830, "image/gif", "party", ".gif", &make_gif},
                                   {920, "audio/amr", "voice-", ".amr", &make_amr},
                                   {960, "audio/x-wav", "sound", ".wav", &make_wav},
                                   {1000, "text/x-vcard", "contact", ".vcf", &make_vcard}};
  const std::size_t choice = chance.below(1000);
  const Kind& kind = *std::find_if(std::begin(KINDS), std::end(KINDS),
                                   [choice](const Kind& one) { return choice < one.below; });
  std::string name = kind.name + std::to_string(chance.between(1000, 9999)) + kind.extension;
  return {kind.contentType, std::move(name), kind.make(chance)};
}

}  // namespace msg_tarvel::tool
