#include "generate/texts.h"

#include <array>
#include <iterator>
#include <string>

namespace msg_tarvel::tool {

namespace {

constexpr std::size_t WORDS_OF_A_LANGUAGE = 16;
using Words = std::array<const char*, WORDS_OF_A_LANGUAGE>;

constexpr Words LANGUAGES[] = {
    {"and", "the", "are you", "train", "at seven", "thanks", "tomorrow", "home", "late",
     "on my way", "where", "with the children", "didn't", "o'clock", "really", "see you"},
    {"et", "le café", "où", "demain", "merci", "à bientôt", "déjà", "peut-être", "l'école",
     "ce soir", "train", "d'accord", "je", "suis", "là", "bisous"},
    {"좋아요", "내일", "집에", "가는", "중", "고마워", "몇", "시에", "학교", "저녁", "먹었어", "응",
     "지하철", "늦어", "미안", "곧"},
    {"شكرا", "غدا", "في", "البيت", "متى", "أين", "مع", "الأولاد", "نعم", "لا", "القطار", "الآن",
     "قريبا", "مساء", "الخير", "حسنا"},
    {"да", "завтра", "дома", "спасибо", "где", "поезд", "в семь", "поздно", "уже", "еду", "хорошо",
     "вечером", "с детьми", "нет", "конечно", "пока"},
};

constexpr const char* PICTOGRAMS[] = {"👍", "😂", "❤️", "🎉", "🙏", "😅", "🚆", "👩‍👧"};

}  // namespace

Language::Language(Chance& chance)
    : _index(chance.inThousand(600) ? 0 : chance.below(std::size(LANGUAGES))) {}

std::string Language::_sentence(Chance& chance) const {
  std::string sentence;
  // Most are short.
  const int most = chance.between(1, 24);
  for (int left = chance.between(1, most); left > 0; --left) {
    sentence += chance.oneOf(LANGUAGES[_index]);
    sentence += left > 1 ? " " : "";
  }
  return sentence;
}

std::string Language::text(Chance& chance) const {
  if (chance.inThousand(15)) return chance.oneOf(PICTOGRAMS);
  std::string text = _sentence(chance);
  int more = chance.inThousand(80) ? chance.between(1, 3) : 0;
  if (chance.inThousand(4)) more = chance.between(10, 30);
  for (; more > 0; --more) {
    text += '\n';
    text += _sentence(chance);
  }
  if (chance.inThousand(120)) {
    text += ' ';
    text += chance.oneOf(PICTOGRAMS);
  }
  return text;
}

std::string service_text(Chance& chance) {
  const std::string number = std::to_string(chance.between(100000, 999999));
  switch (chance.below(4)) {
    case 0:
      return "Your code is " + number + ". Do not tell it to anybody.";
    case 1:
      return "Your parcel " + number + " arrives today: https://example.org/p/" + token(chance, 8);
    case 2:
      return "Reminder: " + std::to_string(chance.between(8, 18)) + ":30, room " +
             number.substr(3) + ". Reply STOP to end.";
    default:
      return "Balance on " + number.substr(2) + ": " + std::to_string(chance.between(1, 4000)) +
             ".00";
  }
}

std::string token(Chance& chance, int digits) {
  std::string text;
  for (; digits > 0; --digits) text += "0123456789abcdef"[chance.below(16)];
  return text;
}

}  // namespace msg_tarvel::tool
