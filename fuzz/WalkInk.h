// Does everything to a buffer that can be done with ink: what the fuzz targets and the tests of
// hostile data run. Any bytes will do. A broken promise of the libraries ends the process with a
// line that names it, in every build.

#pragma once

#include <cstddef>
#include <cstdint>

// Opens the bytes. If they are ink: reads every value of every item both ways, checks that no
// more is there than the bytes can hold, writes it, reads it back and compares, splits it, and does
// the same to the parts. The status of Stf2InkDataInitialize.
int WalkInk(const std::uint8_t* data, std::size_t size);

// The key pair that the sealed seeds are sealed to.
extern const std::uint8_t kFuzzPublicKey[32];
extern const std::uint8_t kFuzzSecretKey[32];

// Asks what the envelope says and opens it with the key pair above; what comes out must be ink of
// the pen that the envelope names. Bytes that are ink are sealed and must open as they were. The
// status of OpenInkData.
int WalkSealed(const std::uint8_t* data, std::size_t size);
