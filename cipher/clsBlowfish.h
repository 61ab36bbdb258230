#pragma once
// The cipher object: the system's Blowfish with its own S-box layout, its one
// ciphertext format (the cipher buffer), the text forms of that format and
// whole-file enciphering. Every user creates a fresh object per operation and
// sets one key on it.
//
// Texts (keys, plaintexts, hexadecimal texts) are Windows-1252 bytes, one byte
// per character (see codepage.h); file paths are UTF-8.
//
// Cipher buffer of a plaintext of n bytes, before CBC enciphering:
//   offset 0  random word 1 (little-endian)     offset 4  random word 2
//   offset 8  n (little-endian, 32 bits)        offset 12 the plaintext
//   then 0 to 7 zero bytes up to T = n + 12 rounded up to a multiple of 8.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "blowfish_engine.h"
#include "cbc_chain.h"
#include "clock_random.h"
#include "progress_meter.h"
#include "text_builder.h"

namespace morvane {

using blowfish::ProgressHandler;

class clsBlowfish {
public:
    clsBlowfish();
    ~clsBlowfish();
    clsBlowfish(const clsBlowfish&) = delete;
    clsBlowfish& operator=(const clsBlowfish&) = delete;

    // --- Engine -------------------------------------------------------------

    // Sets the key. The empty key and a key equal to the key in force change
    // nothing; any other key is scheduled on top of
    // the current tables, not on fresh constants.
    void key(std::string_view keyText);

    void encipherBlock(std::uint32_t& L, std::uint32_t& R) const { blowfish::encipherBlock(tables_, L, R); }
    void decipherBlock(std::uint32_t& L, std::uint32_t& R) const { blowfish::decipherBlock(tables_, L, R); }
    std::uint32_t roundFunction(std::uint32_t x) const { return blowfish::roundFunction(tables_, x); }

    // --- Cipher buffer (in place; a non-empty key is set first) -------------

    void encipherBuffer(std::vector<std::uint8_t>& buffer, std::string_view keyText = {});

    // A buffer whose size descriptor does not fit its length (a wrong key,
    // damaged data, a length that is not a multiple of 8 or below 16) is left
    // fully deciphered at its whole length, without error and without the
    // final report of 100.
    void decipherBuffer(std::vector<std::uint8_t>& buffer, std::string_view keyText = {});

    // --- Texts --------------------------------------------------------------

    std::string EncryptString(std::string_view text, std::string_view keyText = {}, bool outputInHex = false);
    std::string DecryptString(std::string_view text, std::string_view keyText = {}, bool isTextInHex = false);

    // Two upper-case hexadecimal digits per byte.
    std::string bytesToHex(std::string_view s);
    // Lenient reading of hexadecimal text, two characters at a time, each pair
    // read as the run time reads "&H" + pair: leading hexadecimal digits count,
    // blanks are passed over, anything else ends the number (so "ZZ" is 0 and
    // a final single character is read alone). Nothing is rejected.
    std::string hexToBytes(std::string_view s);

    // --- Files --------------------------------------------------------------

    // Enciphers the whole file into one cipher buffer on disk. The file is
    // streamed in bounded chunks; the bytes written and the progress reported
    // are those of encipherBuffer over the whole file. OutFile is written
    // under a temporary name beside it and takes its name only when complete:
    // until then the old file stays as it was. False with LastError set on
    // failure.
    bool EncryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText = {});

    // Reads a written file back (by its temporary name, flushed) before it
    // takes its final name: true lets it, false keeps the old file.
    using WrittenFileCheck = std::function<bool(const std::string& writtenPath)>;

    // EncryptFile whose output takes its name only once `check` passed.
    bool EncryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                     const WrittenFileCheck& check);

    // Deciphers a file written by EncryptFile. With a wrong key the whole
    // deciphered length is written and the result is still true. OutFile
    // takes its name only when complete, as with EncryptFile.
    bool DecryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText = {});

    // DecryptFile telling `written` after each piece how many bytes of the
    // output are in the file so far and the temporary name it is written
    // under, so that the output can be read while it is written.
    using WrittenSoFar = std::function<void(std::uint64_t bytes, const std::string& temporaryPath)>;
    bool DecryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                     const WrittenSoFar& written);

    // Deciphers plaintext bytes [offset, offset + length) of an enciphered
    // file (the cipher buffer: 12 header bytes, then the file) without
    // deciphering what comes before them: each block needs only the
    // ciphertext block before it. False with LastError set when the file
    // cannot be read or is too short.
    bool decipherRange(const std::string& inFile, std::string_view keyText, std::uint64_t offset, std::size_t length,
                       std::vector<std::uint8_t>& plaintext);

    // Whether EncryptFile and DecryptFile flush their output to disk before
    // it takes its name. A temporary file that is read once and then deleted
    // needs no flush.
    bool flushOutput = true;

    // Deciphers the file and hands its plaintext on, piece by piece and in
    // order, without writing anything and without Progress events. `sink`
    // runs on a second thread (one piece at a time) while the next piece is
    // deciphered; `between` runs on the calling thread after each piece is
    // deciphered. False when the file cannot be read, `sink` says stop, or
    // the size descriptor does not fit the file (a wrong key, a damaged
    // file), with LastError set.
    using PlaintextSink = std::function<bool(std::span<const std::uint8_t> plaintext)>;
    bool decipherFileInto(const std::string& inFile, std::string_view keyText, const PlaintextSink& sink,
                          const std::function<void()>& between = {});

    // Asks EncryptFile, DecryptFile and decipherFileInto to stop at their next
    // chunk, now or when they next run on this object: they return false with
    // LastError kStoppedError, and nothing they were writing is left behind.
    void StopWork() { stopRequested_ = true; }
    bool stopRequested() const { return stopRequested_; }
    static constexpr std::string_view kStoppedError = "the work was stopped";

    // Deletes a normal file (a hidden or system file is not looked at), making
    // it writable first; all errors ignored.
    static void killFile(const std::string& fileName);

    // True when the file's length can be read.
    static bool fileExists(const std::string& path);

    // The reason of the last failed EncryptFile or DecryptFile; not cleared on success.
    std::string LastError;

    // The Progress event: whole percents, 0 first, 100 last.
    ProgressHandler Progress;

    // --- Inspection and test seams ------------------------------------------

    const blowfish::Tables& tables() const { return tables_; }
    std::uint32_t sBox(unsigned k, std::uint32_t x) const { return blowfish::sBox(tables_, k, x); }

    // Where the random first block's generator takes its seed (the clock).
    void setSeedSource(SeedSource source) { seedSource_ = source; }

    // The cipher buffer's header: the bytes before the plaintext.
    static constexpr std::size_t kHeaderBytes = 12;

    // Largest plaintext the 32-bit size descriptor can describe.
    static constexpr std::uint64_t kMaxPlaintextBytes = 0xFFFFFFFFULL;

    // Bytes EncryptFile and DecryptFile hold at a time (a multiple of 8).
    static constexpr std::size_t kFileChunkBytes = 1 << 20;

    // The file operations with a chosen chunk size, for tests of chunk edges.
    bool encryptFileInChunks(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                             std::size_t chunkBytes, const WrittenFileCheck& check = {});
    bool decryptFileInChunks(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                             std::size_t chunkBytes, const WrittenSoFar& written = {});

private:
    // Deciphers the file chunk by chunk into `sink`: the plaintext when the
    // size descriptor fits (`fits`), else every deciphered byte.
    bool decipherFileInChunks(const std::string& inFile, std::string_view keyText, std::size_t chunkBytes,
                              const PlaintextSink& sink, bool reportProgress, bool& fits,
                              const std::function<void()>& between = {});

    // Writes the 12 header bytes of a cipher buffer for n plaintext bytes.
    void writeHeader(std::uint8_t* header, std::uint64_t n);

    blowfish::Tables tables_;
    std::string keyInForce_;
    TextBuilder text_;
    SeedSource seedSource_ = clockSeed;
    blowfish::ParallelDecipher decipher_;
    HelperThread io_;  // reads and writes the file's chunks while the chain runs
    bool stopRequested_ = false;
};

// The size descriptor check: T - n must lie between 12 and 19, T a multiple
// of 8 and at least 16.
bool sizeDescriptorFits(std::uint64_t total, std::uint64_t n);

}  // namespace morvane
