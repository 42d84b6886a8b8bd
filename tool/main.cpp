// The program msg-tarvel: one command line, and one line on standard error for what goes wrong.

#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "command_line.h"
#include "exit_status.h"
#include "helpers/store_error.h"
#include "print/remark.h"
#include "store/connections.h"
#include "store/log_sink.h"
#include "store/store.h"

namespace {

using namespace msg_tarvel::tool;  // NOLINT(google-build-using-namespace): the program itself

int complain(const std::string& what, int status) {
  remark(what);
  return status;
}

/** Also where there is no memory to put a text together. */
int complain_in_pieces(const char* what, const char* end, int status) {
  std::cerr << "msg-tarvel: " << what << end << "\n";
  return status;
}

constexpr const char* NOT_KNOWN = "; whether it was done is not known";

int complain_of_unknown(const msg_tarvel::helpers::UnknownOutcome& error) {
  try {
    const std::string what = with_log_failure(naming_store(error.what()));
    // A commit that had to wait for a lock in vain did nothing.
    return complain(is_lock_error() ? what : what + NOT_KNOWN, FAILED);
  } catch (const std::bad_alloc&) {
    return complain_in_pieces(error.what(), is_lock_error() ? "" : NOT_KNOWN, FAILED);
  }
}

int complain_of_interrupt(const Interrupted& interrupted) {
  const int status = INTERRUPTED + interrupted.signal;
  try {
    return complain("interrupted; " + interrupted.outcome, status);
  } catch (const std::bad_alloc&) {
    return complain_in_pieces("interrupted; ", interrupted.outcome.c_str(), status);
  }
}

/** Throws std::bad_alloc alone. */
int run(int argc, char** argv) {
  try {
    limit_connections();
    return CommandLine().run(argc, argv);
  } catch (const UsageError& error) {
    return complain(error.what(), USAGE_ERROR);
  } catch (const msg_tarvel::helpers::UnknownOutcome& error) {
    return complain_of_unknown(error);
  } catch (const msg_tarvel::helpers::StoreError& error) {
    return complain(with_log_failure(naming_store(error.what())), FAILED);
  } catch (const Interrupted& interrupted) {
    return complain_of_interrupt(interrupted);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    return complain(error.what(), FAILED);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const OutOfMemoryAfterChange& error) {
    return complain_in_pieces(error.what(), "", FAILED);
  } catch (const std::bad_alloc&) {
    return complain_in_pieces("out of memory", "", FAILED);
  }
}
