@0xb0c6d3e5f7a91827;
using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("msg_tarvel::bench::capnproto");

struct Address {
  numbers @0 :List(Int32);
  text1 @1 :Text;
}
struct ContentMeta {
  numbers @0 :List(Int32);
  text1 @1 :Text;
  text2 @2 :Text;
  text3 @3 :Text;
}
struct Content {
  numbers @0 :List(Int32);
  text1 @1 :Text;
  text2 @2 :Text;
  text3 @3 :Text;
  text4 @4 :Text;
  text5 @5 :Text;
  text6 @6 :Text;
  meta @7 :ContentMeta;
}
struct Meta {
  numbers @0 :List(Int32);
  text1 @1 :Text;
  text2 @2 :Text;
  text3 @3 :Text;
  text4 @4 :Text;
}
struct Message {
  numbers @0 :List(Int32);
  text1 @1 :Text;
  text2 @2 :Text;
  text3 @3 :Text;
  addresses @4 :List(Address);
  contents @5 :List(Content);
  meta @6 :Meta;
}
