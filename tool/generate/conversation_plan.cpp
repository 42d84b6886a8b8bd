#include "generate/conversation_plan.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <numeric>
#include <set>

#include "generate/people.h"

namespace msg_tarvel::tool {

namespace {

/** One in so many conversations has only a few messages. */
constexpr int ONE_IS_SMALL = 4;
constexpr int MOST_OF_A_SMALL_ONE = 20;

// Whole numbers throughout: what a processor makes of others is not the same everywhere.

std::uint64_t square_root(std::uint64_t number) {
  if (number < 2) return number;
  std::uint64_t root = number;
  for (std::uint64_t next = (root + 1) / 2; next < root; next = (root + number / root) / 2) {
    root = next;
  }
  return root;
}

/** In proportion to rank to the power of minus three quarters. */
std::uint64_t weight_of(std::uint64_t rank) {
  const std::uint64_t power = square_root(rank * square_root(rank << 20));
  return (std::uint64_t{1} << 30) / power;
}

/** Shares out what is left when each has one, the biggest share first. */
std::vector<int> shares(int count, int messages) {
  std::vector<std::uint64_t> weights;
  for (int rank = 1; rank <= count; ++rank) {
    weights.push_back(weight_of(static_cast<std::uint64_t>(rank)));
  }
  const std::uint64_t all = std::accumulate(weights.begin(), weights.end(), std::uint64_t{0});
  const auto extra = static_cast<std::uint64_t>(messages - count);
  std::vector<int> sizes;
  sizes.reserve(weights.size());
  for (const std::uint64_t weight : weights) {
    sizes.push_back(1 + static_cast<int>(extra * weight / all));
  }
  sizes.front() += messages - std::accumulate(sizes.begin(), sizes.end(), 0);
  return sizes;
}

std::vector<int> sizes_of(int conversations, int messages, Chance& chance) {
  const int most = std::min(MOST_OF_A_SMALL_ONE, messages / conversations);
  std::vector<int> small;
  for (int left = conversations / ONE_IS_SMALL; left > 0; --left) {
    small.push_back(chance.between(1, most));
  }
  const int taken = std::accumulate(small.begin(), small.end(), 0);
  std::vector<int> sizes = shares(conversations - static_cast<int>(small.size()), messages - taken);
  sizes.insert(sizes.end(), small.begin(), small.end());
  std::sort(sizes.begin(), sizes.end(), std::greater<>());
  return sizes;
}

/** Deals out people and services, each to one conversation, and puts groups together. */
class Dealer {
 public:
  explicit Dealer(Chance& chance) : _chance(chance) {}

  PlannedConversation deal(std::size_t index) {
    PlannedConversation planned;
    if (index % 7 == 3) {
      planned.kind = PlannedConversation::Kind::GROUP;
      planned.members = _group();
    } else if (index % 7 == 5) {
      planned.kind = PlannedConversation::Kind::SERVICE;
      const std::size_t service = _services++;
      planned.members = {service % 3 == 2 ? service_name(service / 3) : short_code(service)};
    } else if (index == 30) {
      planned.kind = PlannedConversation::Kind::NOBODY;
    } else if (index % 40 == 20) {
      planned.members = {mail_address(index)};
    } else {
      planned.members = {number_of_person(_people++)};
    }
    return planned;
  }

 private:
  /** Of people who are known and others; no two groups are the same. */
  std::vector<std::string> _group() {
    std::set<std::size_t> people;
    do {
      people.clear();
      const auto size = static_cast<std::size_t>(_chance.between(2, 8));
      const std::size_t known = _people;
      while (people.size() < size) {
        const bool isKnown = known > 8 && _chance.inThousand(700);
        people.insert(isKnown ? _chance.below(known) : _people++);
      }
    } while (!_groups.insert(people).second);
    std::vector<std::string> members;
    members.reserve(people.size());
    for (const std::size_t person : people) members.push_back(number_of_person(person));
    _chance.shuffle(members);
    return members;
  }

  Chance& _chance;
  std::size_t _people = 0;
  std::size_t _services = 0;
  std::set<std::set<std::size_t>> _groups;
};

}  // namespace

std::vector<PlannedConversation> plan_conversations(int conversations, int messages,
                                                    Chance& chance) {
  std::vector<PlannedConversation> plan;
  Dealer dealer(chance);
  for (const int size : sizes_of(conversations, messages, chance)) {
    PlannedConversation planned = dealer.deal(plan.size());
    planned.messages = size;
    plan.push_back(std::move(planned));
  }
  return plan;
}

int usual_conversations(int messages) {
  // 60 for 1,000, 600 for 100,000
  const auto number = static_cast<int>(square_root(static_cast<std::uint64_t>(messages) * 18 / 5));
  return std::clamp(number, 1, messages);
}

}  // namespace msg_tarvel::tool
