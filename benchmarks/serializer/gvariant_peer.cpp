#include <glib.h>

#include <cstdlib>
#include <new>
#include <stdexcept>

#include "serializer/records.h"
#include "serializer/wire_peer.h"

namespace msg_tarvel::bench {

namespace {

// A record is a tuple: its numbers, its texts as bytes, which nobody checks for UTF-8, and what
// belongs to it.
#define CONTENT_META "(aiayayay)"
#define CONTENT "(aiayayayayayaym" CONTENT_META ")"
#define META "(aiayayayay)"
#define ADDRESS "(aiay)"
#define MESSAGE "(aiayayaya" ADDRESS "a" CONTENT "m" META ")"

constexpr const char* TYPE_MESSAGE = MESSAGE;

struct VariantDeleter {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, VariantDeleter>;

Variant child(GVariant* variant, std::size_t index) {
  return Variant(g_variant_get_child_value(variant, index));
}

template <typename Record>
void add_head(GVariantBuilder& builder, const Record& record) {
  const auto numbers = numbers_of(record);
  g_variant_builder_add_value(
      &builder, g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, numbers.data(), numbers.size(),
                                          sizeof(std::int32_t)));
  for (const auto member : Parts<Record>::TEXTS) {
    g_variant_builder_add_value(&builder, g_variant_new_bytestring(text_or_empty(record.*member)));
  }
}

template <typename Record>
GVariant* new_plain(const Record& record) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_TUPLE);
  add_head(builder, record);
  return g_variant_builder_end(&builder);
}

template <typename Record>
GVariant* new_optional(const Record* record, const char* type) {
  return g_variant_new_maybe(G_VARIANT_TYPE(type), record ? new_plain(*record) : nullptr);
}

GVariant* new_content(const msg_content_item_t& content) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE(CONTENT));
  add_head(builder, content);
  g_variant_builder_add_value(&builder, new_optional(content.nmsContentMetaData, CONTENT_META));
  return g_variant_builder_end(&builder);
}

template <typename Record>
GVariant* new_list(const GSList* list, const char* type, GVariant* (*make)(const Record&)) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE(type));
  for_each<Record>(list, [&builder, make](const Record& record) {
    g_variant_builder_add_value(&builder, make(record));
  });
  return g_variant_builder_end(&builder);
}

GVariant* new_message(const msg_message_item_t& message) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE(TYPE_MESSAGE));
  add_head(builder, message);
  g_variant_builder_add_value(
      &builder, new_list<msg_address_item_t>(message.addressList, "a" ADDRESS, &new_plain));
  g_variant_builder_add_value(
      &builder, new_list<msg_content_item_t>(message.contentList, "a" CONTENT, &new_content));
  g_variant_builder_add_value(&builder, new_optional(message.nmsMsgMetaData, META));
  return g_variant_builder_end(&builder);
}

template <typename Record>
void read_head(GVariant* tuple, Record& record) {
  const Variant numbers = child(tuple, 0);
  gsize count = 0;
  const void* const data = g_variant_get_fixed_array(numbers.get(), &count, sizeof(std::int32_t));
  if (!set_numbers_from(record, data, count * sizeof(std::int32_t))) {
    throw std::runtime_error("not a message of GVariant");
  }
  std::size_t place = 0;
  for (const auto member : Parts<Record>::TEXTS) {
    const Variant text = child(tuple, ++place);
    const char* const bytes = g_variant_get_bytestring(text.get());
    record.*member = new_text(bytes, std::strlen(bytes));
  }
}

template <typename Record>
Record* read_maybe(GVariant* maybe) {
  const Variant value(g_variant_get_maybe(maybe));
  if (!value) return nullptr;
  auto* const record = new_record<Record>();
  read_head(value.get(), *record);
  return record;
}

template <typename Record, typename Read>
GSList* read_list(GVariant* array, Read read) {
  GSList* list = nullptr;
  for (gsize i = g_variant_n_children(array); i > 0; --i) {
    auto* const record = new_record<Record>();
    read(child(array, i - 1).get(), *record);
    list = g_slist_prepend(list, record);
  }
  return list;
}

class GVariantPeer : public WirePeer {
 public:
  GVariantPeer() = default;
  GVariantPeer(const GVariantPeer&) = delete;
  GVariantPeer& operator=(const GVariantPeer&) = delete;
  ~GVariantPeer() override { std::free(_bytes); }

  const char* name() const override { return "GVariant"; }

  std::string_view encode(const msg_message_item_t& message) override {
    const Variant variant(g_variant_ref_sink(new_message(message)));
    const gsize size = g_variant_get_size(variant.get());
    std::free(_bytes);
    _bytes = static_cast<char*>(std::malloc(size));
    if (!_bytes) throw std::bad_alloc();
    g_variant_store(variant.get(), _bytes);
    return {_bytes, size};
  }

  bool hasCheck() const override { return true; }
  bool check(std::string_view bytes) override {
    return g_variant_is_normal_form(_untrusted(bytes).get()) != FALSE;
  }

  /** GVariant reads bytes from elsewhere safely as they are. */
  void decode(std::string_view bytes, msg_message_item_t& out) override {
    const Variant message = _untrusted(bytes);
    read_head(message.get(), out);
    out.addressList = read_list<msg_address_item_t>(
        child(message.get(), 4).get(),
        [](GVariant* tuple, msg_address_item_t& address) { read_head(tuple, address); });
    out.contentList = read_list<msg_content_item_t>(
        child(message.get(), 5).get(), [](GVariant* tuple, msg_content_item_t& content) {
          read_head(tuple, content);
          content.nmsContentMetaData =
              read_maybe<msg_nms_content_meta_data_t>(child(tuple, 7).get());
        });
    out.nmsMsgMetaData = read_maybe<msg_nms_msg_meta_data_t>(child(message.get(), 6).get());
  }

 private:
  static Variant _untrusted(std::string_view bytes) {
    return Variant(g_variant_ref_sink(g_variant_new_from_data(
        G_VARIANT_TYPE(TYPE_MESSAGE), bytes.data(), bytes.size(), FALSE, nullptr, nullptr)));
  }

  char* _bytes = nullptr;
};

}  // namespace

std::unique_ptr<WirePeer> make_gvariant_peer() { return std::make_unique<GVariantPeer>(); }

}  // namespace msg_tarvel::bench
