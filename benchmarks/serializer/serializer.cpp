// bench-serializer [option of Google Benchmark]...: messages handed over by the library and by
// every peer; named MESSAGE/STEP/PEER. Exits with 1 when a peer does not read what it wrote.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "helpers/record_mapping.h"
#include "serializer/records.h"
#include "serializer/wire_peer.h"

namespace msg_tarvel::bench {

namespace {

Address address(int number) {
  Address one;
  one.addressType = 1;
  one.recipientType = 1;
  one.address = "+1415555" + std::to_string(10000 + number);
  return one;
}

Message text_message(const std::string& text) {
  Message message;
  message.msgId = 4711;
  message.convId = 12;
  message.itemId = 815;
  message.msgType = "sms";
  message.storageFolder = MAIN_FOLDER_1;
  message.displayTime = 1740988800000;
  message.mainText = text.substr(0, 60);
  message.textMessage = text;
  message.addresses = {address(1)};
  return message;
}

Message multimedia_message() {
  Message message = text_message("From the garden, with the children and the café chairs");
  message.msgType = "mms";
  message.attachedNum = 4;
  message.addresses.push_back(address(2));
  for (int i = 1; i <= 4; ++i) {
    const std::string number = std::to_string(i);
    Content& content = message.contents.emplace_back();
    content.msgId = message.msgId;
    content.slideIdx = i;
    content.hasFile = true;
    content.contentType = "image/jpeg";
    content.filename = "picture" + number + ".jpg";
    content.filepath = "/opt/usr/media/messages/4711-" + content.filename;
    content.thumbpath = "/opt/usr/media/messages/4711-thumb" + number + ".jpg";
    content.textData = "Picture " + number;
    if (i % 2 == 0) continue;
    content.nmsContentMeta.metaValue = i;
    content.nmsContentMeta.metaText1 = "part-" + number;
    content.nmsContentMeta.metaText2 = "https://nms.example.org/store/parts/" + number;
    content.nmsContentMeta.metaText3 = "image";
  }
  message.nmsMsgMeta.msgId = message.msgId;
  message.nmsMsgMeta.objectId = "object-4711";
  message.nmsMsgMeta.primaryId = "primary-4711";
  message.nmsMsgMeta.secondaryId = "secondary-4711";
  message.nmsMsgMeta.resourceURL = "https://nms.example.org/store/objects/4711";
  return message;
}

Message message_to_many() {
  Message message = text_message("Happy new year to all of you!");
  while (message.addresses.size() < 255) {
    message.addresses.push_back(address(static_cast<int>(message.addresses.size()) + 1));
  }
  return message;
}

std::vector<std::unique_ptr<WirePeer>> make_peers() {
  std::vector<std::unique_ptr<WirePeer>> peers;
  peers.push_back(make_library_peer());
#ifdef BENCH_FLATBUFFERS
  peers.push_back(make_flatbuffers_peer(Output::HANDED_OUT));
  peers.push_back(make_flatbuffers_peer(Output::REUSED));
#else
  std::cerr << "left out: FlatBuffers (libflatbuffers-dev, flatbuffers-compiler)\n";
#endif
#ifdef BENCH_MSGPACK
  peers.push_back(make_msgpack_peer(Output::HANDED_OUT));
  peers.push_back(make_msgpack_peer(Output::REUSED));
#else
  std::cerr << "left out: msgpack-cxx (libmsgpack-cxx-dev)\n";
#endif
#ifdef BENCH_CAPNPROTO
  peers.push_back(make_capnproto_peer());
#else
  std::cerr << "left out: Cap'n Proto (libcapnp-dev, capnproto)\n";
#endif
#ifdef BENCH_PROTOBUF
  peers.push_back(make_protobuf_peer());
  peers.push_back(make_protobuf_object_peer());
#else
  std::cerr << "left out: Protocol Buffers (libprotobuf-dev, protobuf-compiler)\n";
#endif
  peers.push_back(make_gvariant_peer());
  return peers;
}

/** A peer must read from its bytes what it was given, and accept them. */
void require_agreement(WirePeer& peer, const msg_message_item_t& message) {
  peer.prepare(message);
  const std::string bytes(peer.encode(message));
  const bool isAccepted = peer.check(bytes);
  msg_message_item_t out = {};
  peer.decode(bytes, out);
  peer.complete(out);
  const bool isRead = is_same(message, out);
  peer.release(out);
  if (!isAccepted || !isRead) {
    throw std::runtime_error(std::string(peer.name()) + " does not read what it wrote");
  }
}

void encode(benchmark::State& state, WirePeer& peer, const msg_message_item_t& message) {
  peer.prepare(message);
  std::size_t size = 0;
  for ([[maybe_unused]] auto _ : state) {
    const std::string_view bytes = peer.encode(message);
    benchmark::DoNotOptimize(bytes.data());
    benchmark::ClobberMemory();
    size = bytes.size();
  }
  state.counters["bytes"] = static_cast<double>(size);
}

void check(benchmark::State& state, WirePeer& peer, const msg_message_item_t& message) {
  peer.prepare(message);
  const std::string bytes(peer.encode(message));
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(peer.check(bytes));
  }
}

/** With the release: what is made has to go again. */
void decode(benchmark::State& state, WirePeer& peer, const msg_message_item_t& message) {
  peer.prepare(message);
  const std::string bytes(peer.encode(message));
  for ([[maybe_unused]] auto _ : state) {
    msg_message_item_t out;
    peer.decode(bytes, out);
    benchmark::ClobberMemory();
    peer.release(out);
  }
}

void whole_cycle(benchmark::State& state, WirePeer& peer, const msg_message_item_t& message) {
  peer.prepare(message);
  for ([[maybe_unused]] auto _ : state) {
    const std::string_view bytes = peer.encode(message);
    if (!peer.check(bytes)) state.SkipWithError("refused");
    msg_message_item_t out;
    peer.decode(bytes, out);
    benchmark::ClobberMemory();
    peer.release(out);
  }
}

using Step = void (*)(benchmark::State&, WirePeer&, const msg_message_item_t&);

void add(const std::string& name, Step step, WirePeer& peer, const msg_message_item_t& message) {
  benchmark::RegisterBenchmark(
      (name + "/" + peer.name()).c_str(),
      [step, &peer, &message](benchmark::State& state) { step(state, peer, message); });
}

void measure() {
  const std::pair<const char*, Message> messages[] = {
      {"text", text_message("Are you coming? The train leaves at seven from platform 3.")},
      {"4 contents", multimedia_message()},
      {"100 KB", text_message(std::string(std::size_t{100} << 10, 'x'))},
      {"255 addresses", message_to_many()},
  };
  const auto peers = make_peers();
  const auto floor = make_floor();
  std::vector<helpers::MessageRecord> records;

  for (const auto& [name, message] : messages) {
    const msg_message_item_t& record = *records.emplace_back(helpers::to_record(message));
    const std::string prefix = name + std::string("/");
    for (const auto& peer : peers) {
      require_agreement(*peer, record);
      add(prefix + "encode", &encode, *peer, record);
      if (peer->output() == Output::REUSED) continue;
      if (peer->hasCheck()) add(prefix + "check", &check, *peer, record);
      add(prefix + "decode", &decode, *peer, record);
      add(prefix + "whole cycle", &whole_cycle, *peer, record);
    }
    add(prefix + "encode", &encode, *floor, record);
    add(prefix + "decode", &decode, *floor, record);
    add(prefix + "whole cycle", &whole_cycle, *floor, record);
  }
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

}  // namespace msg_tarvel::bench

int main(int argc, char** argv) {
  // Nobody gives memory back to the system between two messages, which would be measured instead.
  mallopt(M_TRIM_THRESHOLD, 64 << 20);
  mallopt(M_MMAP_THRESHOLD, 64 << 20);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return EXIT_FAILURE;
  try {
    msg_tarvel::bench::measure();
  } catch (const std::exception& error) {
    std::cerr << "bench-serializer: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
