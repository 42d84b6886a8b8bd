/*
 * A plug-in for qemu-arm: prints how many instructions the program ran, when it ends.
 *
 * The emulator's packages do not bring its header, so what is used of it is declared here as
 * version 1 of its interface has it.
 */

#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

struct qemu_plugin_tb;
typedef uint64_t qemu_plugin_id_t;
enum { ADD_U64 = 0, INTERFACE_VERSION = 1 };

size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, int operation,
                                              void* counter, uint64_t increment);
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t,
                                                              struct qemu_plugin_tb*));
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*ended)(qemu_plugin_id_t, void*),
                                    void* data);

__attribute__((visibility("default"))) int qemu_plugin_version = INTERFACE_VERSION;
__attribute__((visibility("default"))) int qemu_plugin_install(qemu_plugin_id_t id,
                                                               const void* emulator,
                                                               int argumentCount, char** arguments);

static uint64_t instructions;

static void count(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(block, ADD_U64, &instructions,
                                           qemu_plugin_tb_n_insns(block));
}

static void print(qemu_plugin_id_t id, void* data) {
  (void)id;
  (void)data;
  fprintf(stderr, "instructions: %" PRIu64 "\n", instructions);
}

int qemu_plugin_install(qemu_plugin_id_t id, const void* emulator, int argumentCount,
                        char** arguments) {
  (void)emulator;
  (void)argumentCount;
  (void)arguments;
  qemu_plugin_register_vcpu_tb_trans_cb(id, count);
  qemu_plugin_register_atexit_cb(id, print, NULL);
  return 0;
}
