#pragma once

namespace msg_tarvel::bench {

/**
 * Writes a store like a person's into the empty data directory of this process: conversations of
 * very different sizes, groups, multimedia messages, failed and waiting ones, messages of the same
 * time. The same number gives the same store every time.
 */
void write_person_store(int messages);

/** The one with the most messages in every such store. */
constexpr int BIGGEST_CONVERSATION = 1;

}  // namespace msg_tarvel::bench
