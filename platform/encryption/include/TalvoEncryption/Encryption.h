/* Sealed ink: STF2 ink that only the application with the right secret key can read.
 *
 * A C interface. The box is a libsodium sealed box (X25519, XSalsa20-Poly1305) to the receiving
 * application's public key; the envelope around it names the pen, so that the service can file the
 * ink without reading it. Anybody can seal to a public key: what opens is whole and was meant for
 * this key, but nothing proves who sealed it.
 *
 * Every function returns a status, 0 for success; on any other its outputs are null or 0 and
 * nothing needs releasing. Null where a pointer is needed gives status 1. No exception leaves a
 * function.
 *
 * Ownership. Buffers that come out belong to the caller, who releases them with FreeBuffer, which
 * wipes them first; nothing else may release them. Ink that this library has opened or copied for
 * its own use is wiped before its memory is released, on every path. The memory is not locked: it
 * may be swapped out. Keys are never copied.
 *
 * Threads. All functions may be called from several threads at the same time; nothing is kept
 * between calls.
 *
 * Limits. Ink and sealed ink are below 2 GiB. Sealing and opening make one buffer of the result's
 * size and work at the speed of the cipher.
 */

#ifndef TALVO_ENCRYPTION_H
#define TALVO_ENCRYPTION_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* Statuses. */
enum {
  TALVO_ENCRYPTION_SUCCESS = 0,
  TALVO_ENCRYPTION_INVALID_ARGUMENT = 1,
  TALVO_ENCRYPTION_MALFORMED = 2,   /* no well-formed envelope, or no well-formed ink to seal */
  TALVO_ENCRYPTION_WRONG_KEY = 3,   /* sealed to another public key */
  TALVO_ENCRYPTION_DAMAGED = 4,     /* the box was changed since it was sealed */
  TALVO_ENCRYPTION_WRONG_PEN = 5,   /* the envelope's pen is not the pen of the ink inside */
  TALVO_ENCRYPTION_UNSUPPORTED = 6, /* an algorithm that this library does not know */
  TALVO_ENCRYPTION_OUT_OF_MEMORY = 7
};

enum { TALVO_KEY_BYTES = 32, TALVO_PEN_BYTES = 8 };

/* What the envelope says, without opening it. *pen: the pen's number, 8 bytes big-endian;
 * *recipient: the public key that it is sealed to, 32 bytes; *algorithm: 1, or the number of an
 * algorithm that this library cannot open. Release both buffers with FreeBuffer. Status 2 for what
 * is not an envelope or lacks a part of one. Nothing of it is authenticated: only opening shows
 * whether the pen is the pen of the ink inside. */
int GetEncryptedDataInfo(const void* data, uint32_t size, uint8_t** pen, uint8_t** recipient,
                         uint8_t* algorithm);

/* Wipes and releases a buffer that this library made, and sets the pointer to null. Null does
 * nothing. */
int FreeBuffer(uint8_t** buffer);

/* A new key pair, each key of TALVO_KEY_BYTES, from the system's random numbers. Wipe the secret
 * key when done with it. */
int CreateKeyPair(uint8_t* public_key, uint8_t* secret_key);

/* Seals the STF2 ink in `ink` to `public_key`. Release *out with FreeBuffer. The same ink is sealed
 * to other bytes each time. Status 2 for what is not well-formed plain ink, 1 for 32 bytes that are
 * no public key. */
int SealInkData(const void* ink, uint32_t size, const uint8_t* public_key, uint8_t** out,
                uint32_t* out_size);

/* Opens sealed ink. Release *out, a complete STF2 buffer, with FreeBuffer. What is looked at first
 * decides the status:
 *   2  it is not an envelope
 *   6  its algorithm is unknown
 *   3  it is sealed to another public key, or `secret_key` does not belong to `public_key`
 *   4  the box was changed
 *   2  the box holds no well-formed ink
 *   5  the ink is of another pen than the envelope says */
int OpenInkData(const void* data, uint32_t size, const uint8_t* public_key,
                const uint8_t* secret_key, uint8_t** out, uint32_t* out_size);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
