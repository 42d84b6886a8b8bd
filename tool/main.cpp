// The program msg-tarvel: one command line, and one line on standard error for what goes wrong.

#include <exception>
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

}  // namespace

int main(int argc, char** argv) {
  try {
    limit_connections();
    return CommandLine().run(argc, argv);
  } catch (const UsageError& error) {
    return complain(error.what(), USAGE_ERROR);
  } catch (const msg_tarvel::helpers::UnknownOutcome& error) {
    const std::string what = with_log_failure(naming_store(error.what()));
    // A commit that had to wait for a lock in vain did nothing.
    return complain(is_lock_error() ? what : what + "; whether it was done is not known", FAILED);
  } catch (const msg_tarvel::helpers::StoreError& error) {
    return complain(with_log_failure(naming_store(error.what())), FAILED);
  } catch (const Interrupted& interrupted) {
    return complain("interrupted; " + interrupted.outcome, INTERRUPTED + interrupted.signal);
  } catch (const std::bad_alloc&) {
    return complain("out of memory", FAILED);
  } catch (const std::exception& error) {
    return complain(error.what(), FAILED);
  }
}
