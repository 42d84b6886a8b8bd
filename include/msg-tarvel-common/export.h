#pragma once

/** Marks what the shared library exports; everything else is hidden. */
#define MSG_TARVEL_EXPORT __attribute__((visibility("default")))
