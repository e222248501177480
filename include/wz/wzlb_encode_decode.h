/* Codecs: URL and HTML, base64, hexadecimal, binary digits, EBCDIC.
 *
 * All work on bytes (one byte per character) and report through their results alone. None keeps an
 * argument or shares state: any thread may call any of them on buffers of its own.
 *
 * Text codecs (wzlb_encode_html, wzlb_decode_html, wzlb_encode_base64, wzlb_decode_base64) take
 * (input, input length, output). Length 0 means up to the input's NUL. With an output the text is
 * written there and the output returned; its size is the caller's promise, stated at each function.
 * A null output means a new buffer that the caller gives to free(). A null or empty input prints
 * "input string is null, returning from method" on standard output, a negative length prints a
 * warning on standard error; both return null and touch no output, as does a lack of memory. The
 * input is not changed.
 *
 * Converters take (in, len, con_len): `len` bytes at `in`, which need no NUL. Each stores the
 * length of its result in `*con_len` and returns a new tracked block, zeroed up to and including
 * the NUL behind the result, for WZLB_FREE (plain free() is right too). A negative `len` that leads
 * to a negative block size, and a lack of memory, end the process as WZLB_MALLOC says. Lengths are
 * ints: keep inputs small enough for the result's length to be one. */
#ifndef WZLB_ENCODE_DECODE_H
#define WZLB_ENCODE_DECODE_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/**
 * Decodes percent escapes (both cases of digits) and `+` (to a space). A `%` without two hex digits
 * behind it is copied as it stands. Never fails.
 *
 * @param destination  Where the text goes; may be `source`.
 * @param length       Capacity of `destination` in bytes, NUL included. Longer results are cut; 1
 *                     or less gives the empty string.
 * @param source       NUL-terminated text. An escape may give a zero byte; decoding goes on
 *                     behind it.
 * @return             `destination`.
 */
WZ_API char *wz_url_decoding(char *destination, int length, char *source);

/**
 * wz_url_decoding with both bounds apart.
 *
 * @param max_out_length  Capacity of `destination` in bytes, NUL included.
 * @param length          Most decoded bytes to produce, NUL not counted.
 * @return                `destination`.
 */
WZ_API char *wz_url_decoding_ex(char *destination, int max_out_length, int length, char *source);

/**
 * Replaces `<` `>` `&` `"` `^` `~` `'` and `,` by entities; every other byte, those of 0x80 and
 * above included, stays. The apostrophe becomes "&#39;", which wzlb_decode_html deliberately does
 * not take back whole. See the top for lengths, ownership and failures.
 *
 * @param in_str      The text; with a length given, zero bytes within it are copied too.
 * @param in_str_len  Bytes of it, or 0 for up to the NUL.
 * @param out_str     Null, or room for 7 x the length + 1 bytes.
 * @return            The NUL-terminated result, or null.
 */
WZ_API char *wzlb_encode_html(char *in_str, int in_str_len, char *out_str);

/**
 * Replaces entities by their bytes, one entity after the other over the whole text: "&lt;" "&gt;"
 * "&amp;" "&quot;" "&circ;" "&tilde;" "&lsquo;" "&rsquo;" "&sbquo;" "&#39". So what becomes an
 * entity by the decoding of "&amp;" is decoded again when its row comes later ("&amp;quot;" gives a
 * double quote, "&amp;lt;" gives "&lt;"), and "&#39;" gives an apostrophe and a `;`. Recorded pages
 * are compared in this form, so both are kept.
 *
 * @param in_str      The text; a zero byte ends it early.
 * @param in_str_len  Its length. Must be given: 0 is an empty input here, and refused as one.
 * @param out_str     Null, or room for the length + 1 bytes; may be `in_str`.
 * @return            The NUL-terminated result, or null.
 */
WZ_API char *wzlb_decode_html(char *in_str, int in_str_len, char *out_str);

/**
 * Copies `src` to `dest` with "&#59;" for `;` and "&#61;" for `=`, the separators of field lists.
 * Does nothing when one of the two is null.
 *
 * @param src   NUL-terminated text.
 * @param dest  Room for 5 x the length of `src` + 1 bytes.
 */
WZ_API void wzlb_html_encoding(char *src, char *dest);

/* Block base64: NUL-terminated text both ways. For 7-bit text; use the bounded functions for data.
 */

/**
 * Appends the four characters that encode the first three bytes of `input` to the text in `output`.
 * The first zero byte ends the group, which is then padded with `=`.
 *
 * @param output  NUL-terminated text with room for the characters.
 * @param oplen   Append at most this many of the four.
 * @return        0.
 */
WZ_API int wzlb_encodeblock(char *input, char *output, int oplen);

/**
 * Appends the three bytes of four 6-bit values (alphabet indexes, not characters) to the text in
 * `output`. A zero byte ends what is appended.
 *
 * @param output  NUL-terminated text with room for the bytes.
 * @param oplen   Append at most this many of the three.
 * @return        0.
 */
WZ_API int wzlb_decodeblock(char *input, char *output, int oplen);

/**
 * Base64 of a text up to its first zero byte. Of an input shorter than four bytes only as many
 * characters are returned as `oplen` (or the text) is long: "a" gives "Y", "abc" gives "YWJ".
 * Callers store such keys in this cut form, so it is kept; wzlb_encode_base64_ex does not cut.
 *
 * @param input   The text. See the top for lengths, ownership and failures.
 * @param oplen   Bytes of the input, or 0 for up to the NUL.
 * @param output  Null, or room for 4 x ((length + 2) / 3) + 1 bytes.
 * @return        The NUL-terminated encoding, or null.
 */
WZ_API char *wzlb_encode_base64(char *input, int oplen, char *output);

/**
 * Decodes base64 to text. Characters outside the alphabet are skipped (line breaks, spaces); the
 * first `=` decodes the group collected so far and ends; a group without four characters or a `=`
 * is dropped. A decoded zero byte drops the rest of its group, so this is for text only.
 *
 * @param input   The base64 text, ended by a zero byte or by `oplen`.
 * @param oplen   Bytes of the input, or 0 for up to the NUL.
 * @param output  Null, or room for (length / 4 + length mod 4) x 3 + 1 bytes.
 * @return        The NUL-terminated text, or null.
 */
WZ_API char *wzlb_decode_base64(char *input, int oplen, char *output);

/* Bounded base64: any bytes, sizes checked. */

/**
 * Writes exactly 4 x ((input_length + 2) / 3) characters, without a NUL.
 *
 * @param input         Bytes to encode.
 * @param input_length  How many.
 * @param output        Must not overlap `input`.
 * @param output_size   Its size in bytes.
 * @return              The number of characters; -1, with nothing written, when they do not fit or
 *                      a size is negative.
 */
WZ_API int wzlb_encode_base64_ex(unsigned char *input, int input_length, unsigned char *output,
                                 int output_size);

/**
 * Decodes groups of four characters, without a NUL. A character outside the alphabet, `=` included,
 * silently counts as the value 0.
 *
 * @param input         Base64 characters.
 * @param input_length  How many; a multiple of four.
 * @param output        May be `input`.
 * @param output_size   Its size in bytes; what does not fit is left out. Give room for
 *                      input_length / 4 x 3 bytes: the bytes under the padding are stored too (as
 *                      zeros), and the padding is subtracted even when they did not fit.
 * @return              The bytes stored less the number of `=` at the end (at most two); -1 when
 *                      the length is negative or no multiple of four.
 */
WZ_API int wzlb_decode_base64_ex(unsigned char *input, int input_length, unsigned char *output,
                                 int output_size);

/**
 * Base64 of any bytes, NUL-terminated.
 *
 * @param data_buf    Bytes to encode.
 * @param dataLength  How many.
 * @param result      Must not overlap `data_buf`.
 * @param resultSize  Its size in bytes.
 * @return            0; 1 when the text and its NUL do not fit: `result` is then full of the
 *                    characters that did, without a NUL.
 */
WZ_API int wzlb_binary_base64encode(void *data_buf, size_t dataLength, char *result,
                                    size_t resultSize);

/* Base64 through OpenSSL, into new buffers. */

/**
 * Base64 of any bytes on one line.
 *
 * @param buffer   Bytes to encode.
 * @param length   How many.
 * @param b64text  Receives a new tracked block with the NUL-terminated text, for WZLB_FREE.
 * @return         0; -1, `*b64text` unchanged, when the encoder fails.
 */
WZ_API int Base64Encode(unsigned char *buffer, size_t length, char **b64text);

/** Bytes that the padded, NUL-terminated base64 text decodes to; 0 for less than four characters.
 */
WZ_API size_t calcDecodeLength(char *b64input);

/**
 * Decodes base64 on one line.
 *
 * @param b64message  NUL-terminated base64 text.
 * @param buffer      Receives a new block of calcDecodeLength + 1 bytes, NUL-terminated, for
 *                    free(); also when the text is wrong. Null only when there is no memory.
 * @param length      Receives the number of bytes decoded, NUL not counted.
 * @return            0; -1 when the text does not decode to calcDecodeLength bytes.
 */
WZ_API int Base64Decode(char *b64message, unsigned char **buffer, int *length);

/* Allocating converters: see the top. Each comment names the result and what `*con_len` gets. */

/** Two lower-case hex digits for each byte; 2 x len. */
WZ_API char *wzlb_encode_text_to_hex(char *in, int len, int *con_len);

/**
 * A byte for each pair of hex digits; len / 2. Pairs are read as the scan format "%2x" reads them:
 * white space and a sign are skipped, one digit is enough ("4z" is 4, "-1" is 0xFF), and a pair
 * without a digit in reach repeats the byte before (0 at the start). A last odd digit is ignored.
 */
WZ_API char *wzlb_decode_hex_to_text(char *in, int len, int *con_len);

/**
 * Eight bytes for each byte whose values are the numbers 0 and 1 (not characters), highest bit
 * first; 8 x len. Bytes of 0x80 and above give eight zeros. For bit-wise callers;
 * wzlb_encode_text_to_bin_new writes characters.
 */
WZ_API char *wzlb_encode_text_to_bin(char *in, int len, int *con_len);

/**
 * Eight characters `0` or `1` for each byte up to the first zero byte; bytes of 0x80 and above give
 * "00000000". `*con_len` is 9 x len, deliberately more than the text's 8 x len: callers size their
 * copies by it. Use strlen for the text's length.
 */
WZ_API char *wzlb_encode_text_to_bin_new(char *in, int len, int *con_len);

/**
 * A byte for each group of eight characters `0` and `1`; len / 8. WRITES INTO `in`: see
 * binaryToText, which also explains why the leading bit of every group but the first reads as 0.
 */
WZ_API char *wzlb_dec_bin_to_text(char *in, int len, int *con_len);

/** Base64; 4 x ((len + 2) / 3). */
WZ_API char *wzlb_encode_text_to_base64(char *in, int len, int *con_len);

/** The bytes of base64, as wzlb_decode_base64_ex; its result. -1 with an empty text (not null) when
 * `len` is no multiple of four. */
WZ_API char *wzlb_decode_base64_to_text(char *in, int len, int *con_len);

/** Four characters `0` or `1` for each hex digit; 4 x len. Any other character repeats the group
 * before it ("0000" at the start). */
WZ_API char *wzlb_encode_hex_to_bin(char *in, int len, int *con_len);

/** Base64 to hex, as wzlb_encode_text_to_hex; null and -1 when `len` is no multiple of four. */
WZ_API char *wzlb_encode_base64_to_hex(char *in, int len, int *con_len);

/** Base64 to binary digits, as wzlb_encode_text_to_bin_new; null and -1 when `len` is no multiple
 * of four. */
WZ_API char *wzlb_encode_base64_to_bin(char *in, int len, int *con_len);

/** Hex to base64, as wzlb_encode_text_to_base64. */
WZ_API char *wzlb_encode_hex_to_base64(char *in, int len, int *con_len);

/** Binary digits to hex, as wzlb_encode_text_to_hex. Writes into `in`: see binaryToText. */
WZ_API char *wzlb_encode_bin_to_hex(char *in, int len, int *con_len);

/** Binary digits to base64, as wzlb_encode_text_to_base64. Writes into `in`: see binaryToText. */
WZ_API char *wzlb_encode_bin_to_base64(char *in, int len, int *con_len);

/**
 * `len` bytes of EBCDIC as ASCII. `*con_len` is 2 x len, deliberately twice the real length: an
 * upper bound. Codes without a printable ASCII character give `.`, codes below 0x40 stay.
 */
WZ_API char *wzlb_ebcdic_to_ascii(char *in, int len, int *con_len);

/**
 * `len` bytes of ASCII as EBCDIC; `*con_len` as wzlb_ebcdic_to_ascii. Codes below 0x20 stay, 0x7F
 * and above give the code of `.`. A backquote gets the code of the apostrophe and comes back as
 * one; all other printable characters survive the way back.
 */
WZ_API char *wzlb_ascii_to_ebcdic(char *in, int len, int *con_len);

/* Helpers that write into the caller's buffers. */

/**
 * Two upper-case hex digits for each byte, and a NUL.
 *
 * @param bin      Bytes.
 * @param len      How many.
 * @param enc_hex  Room for 2 x `len` + 1 bytes.
 * @return         `enc_hex`; null, with nothing written, when `bin` is null or `len` is not above
 * 0.
 */
WZ_API char *bin2hex(unsigned char *bin, int len, char *enc_hex);

/** The value of `length` characters as an unsigned binary number, highest bit first. Only `1` is a
 * one bit; of more than 32 characters the last 32 count. */
WZ_API int binaryToDecimal(char *binary, int length);

/**
 * A byte for each group of eight characters `0` and `1`.
 *
 * @param binary        The characters. CHANGED: a NUL is put behind each group, that is over the
 *                      first character of the next one, whose leading bit therefore reads as 0.
 *                      7-bit text loses nothing by it.
 * @param binaryLength  How many; characters beyond the last whole group are ignored.
 * @param text          Receives the bytes, and a NUL when there is room for it.
 * @param symbolCount   Size of `text` in bytes.
 * @return              0.
 */
WZ_API int binaryToText(char *binary, int binaryLength, char *text, int symbolCount);

/**
 * Eight characters `0` or `1` for each byte, without separators; bytes of 0x80 and above give
 * "00000000".
 *
 * @param text          Bytes; the first zero byte ends them.
 * @param textLength    How many at most.
 * @param binary        Receives whole groups, and a NUL when there is room for it.
 * @param binaryLength  Size of `binary` in bytes.
 * @return              0.
 */
WZ_API int textToBinary(char *text, int textLength, char *binary, int binaryLength);

/**
 * Translates `len` bytes, as wzlb_ebcdic_to_ascii.
 *
 * @param output   Room for `len` + 1 bytes; a NUL follows the text. Nothing is written for 0 bytes.
 * @param con_len  Not used; may be null.
 */
WZ_API void EBCDIC_to_ASCII(unsigned char *input, int len, char *output, int *con_len);

/** Translates `len` bytes, as wzlb_ascii_to_ebcdic; arguments as EBCDIC_to_ASCII. */
WZ_API void ASCII_to_EBCDIC(unsigned char *input, int len, char *output, int *con_len);

WZ_END_DECLS

#endif
