#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "backup/base64.h"
#include "backup/payload_lifter.h"
#include "helpers/transaction.h"
#include "store/media.h"

typedef struct _GChecksum GChecksum;

namespace msg_tarvel::tool {

/** The decoded data of a part. */
struct Payload {
  enum class State {
    /** No data, or the text "null". */
    NONE,
    WHOLE,
    /** Not base64, or cut short. */
    DAMAGED
  };
  State state = State::NONE;
  /** Of the file with the bytes, in the stage's directory; empty for no bytes, and damaged ones. */
  std::string name;
  long long size = 0;
  /** SHA-256 of what could be decoded, in hexadecimal. */
  std::string digest;
};

/**
 * Decodes payloads into files as they pass by, until it is decided which of them stay.
 *
 * Files lie in one directory, which is made when the first one comes. Whatever is not kept, and all
 * of it when confirm() is never called, is removed again with the stage. Throws Failure when a file
 * cannot be written.
 */
class PayloadStage : public PayloadSink {
 public:
  /** `directory` is absolute and without a slash at the end; no file is written for a dry run. */
  explicit PayloadStage(std::string directory, bool isDryRun = false);
  ~PayloadStage() override;

  void beginPayload(long number) override;
  void payloadText(const char* text, std::size_t size) override;
  void endPayload() override;

  /** The finished payload `number`, which the caller now answers for; those before it are dropped.
   */
  Payload take(long number);
  /** Drops what is half read, and what is finished and not taken. */
  void abandon();
  /** Decodes a payload that is in memory. */
  Payload decode(const char* text, std::size_t size);
  /** The same for a whole file, which may be empty, and of any bytes. */
  Payload decodeFile(const std::string& base64);

  /**
   * Gives a staged file its lasting name, `baseName` and `extension`, which is short, with its dot,
   * or empty; if that is taken, with a number between them, and if it is too long, with less of the
   * base name, as lasting_name makes it. Returns its path.
   */
  std::string keep(const Payload& payload, const std::string& baseName,
                   const std::string& extension);
  void drop(const Payload& payload);

  /** Brings the kept files to the disk: a row that names one is not to outlive it. */
  void synchronise();
  /**
   * Lets the kept files stay and gives them their names: the rows that name them are committed.
   * Without memory the next import gives them.
   */
  void confirm();
  /**
   * After a commit that may have succeeded: lets those stay that rows of the store name now. Where
   * these cannot be read, also for want of memory, all are left to the next import as they are.
   */
  void keepNamedFiles();

 private:
  struct Checksum {
    Checksum();
    Checksum(const Checksum&) = delete;
    Checksum& operator=(const Checksum&) = delete;
    ~Checksum();
    GChecksum* handle;
  };
  /** The payload that is being read. */
  struct Open {
    long number = 0;
    /** Whether there is a file, whatever the text. */
    bool isFile = false;
    std::string head;
    Base64Decoder decoder;
    std::string bytes;
    int file = -1;
    Payload payload;
    Checksum checksum;
  };
  struct Finished {
    long number = 0;
    Payload payload;
  };

  std::string _path(const std::string& name) const { return _directory + "/" + name; }
  void _createFile();
  bool _reserve(const std::string& stagedName, const std::string& name);
  void _remove(const std::string& name);
  void _write();
  Payload _decode(const char* text, std::size_t size, bool isFile);
  Payload _finish();

  const std::string _directory;
  const bool _isDryRun;
  bool _madeDirectory = false;
  /** From the first file on. */
  std::unique_ptr<OpenDirectory> _opened;
  long _nextFile = 1;
  std::unique_ptr<Open> _open;
  std::deque<Finished> _finished;
  /** Every file that is neither kept nor dropped, wherever its payload is. */
  std::unordered_set<std::string> _staged;
  std::vector<std::string> _kept;
};

/**
 * Commits the transaction whose rows name the kept files, and lets those stay whose rows are there
 * then. Nobody has a statement that is not finalized. Throws StoreError, Failure or Interrupted.
 */
void commit_with_files(std::optional<helpers::Transaction>& transaction, PayloadStage& stage);

}  // namespace msg_tarvel::tool
