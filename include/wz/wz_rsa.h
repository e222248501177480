/* RSA for scripts: encrypts data of any length with a public key and decrypts it with the private
 * one, block by block, with PKCS#1 v1.5 padding; optionally as base64.
 *
 * Keys are NUL-terminated PEM texts of 2048 or 1024 bits: public ones as "BEGIN PUBLIC KEY",
 * private ones as "BEGIN RSA PRIVATE KEY" or unencrypted "BEGIN PRIVATE KEY". An encrypted private
 * key is refused; nobody is asked for a pass phrase. A key that cannot be read prints "Failed to
 * create RSA"
 * ("Failed to create key BIO" for a null one) on standard output. Failures write the line that a
 * function names to the host's error log, while that is open.
 *
 * Results are blocks of plain malloc: give them to free(). They are not NUL-terminated unless that
 * is said. After a failure a block may already have been handed out: set your pointer to null
 * before the call and free it after every call. */
#ifndef WZ_RSA_H
#define WZ_RSA_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** OpenSSL's RSA key object. */
typedef struct rsa_st RSA;

/**
 * Encrypts.
 *
 *     char *text = NULL;
 *     size_t raw_length = 0;
 *
 *     if (wz_rsa_encrypt(public_key, "4711", 4, 1, &text, &raw_length) == 0)
 *       wz_save_string(text, "token");           // its length is strlen(text), not raw_length
 *     free(text);
 *
 * @param public_key            PEM text of the public key.
 * @param buffer                The data; may be null when there is none.
 * @param buffer_size           Bytes of it.
 * @param base64_incode_decode  0: raw result; else NUL-terminated base64 without line breaks.
 * @param encoded_buffer        Receives the result.
 * @param encoded_length        Receives the number of raw ciphertext bytes: 256 for each 245 bytes
 * of data and the rest (128 for each 117 with a 1024-bit key). DELIBERATELY also with base64, where
 * the text's length is its strlen.
 * @return                      0; -1 with "Unknown Key size" for a key that cannot be read (after
 *                              "Unable to create RSA") or has another size, with "Public encrypt
 *                              failed" when a block is refused or there is no memory.
 */
WZ_API int wz_rsa_encrypt(char *public_key, char *buffer, int buffer_size, int base64_incode_decode,
                          char **encoded_buffer, size_t *encoded_length);

/**
 * Decrypts what wz_rsa_encrypt gives.
 *
 * @param private_key            PEM text of the private key.
 * @param encode_buffer          The ciphertext; not changed. As base64 it may be wrapped: line
 * feeds and backslashes are left out first.
 * @param encoded_length         Its length: bytes when raw, strlen(encode_buffer) for base64.
 * @param base64_incode_decode   0: raw; 1: base64. (Other values: see decrypt_with_rsa.) Base64 is
 *                               also shown on standard error, "string is [...]".
 * @param decoded_output_buffer  Receives the plaintext.
 * @param decoded_length         Receives its length.
 * @return                       0; -1 with "Encoded buffer NULL" for base64 without any character,
 *                               "wrong key size" as "Unknown Key size" above, "Private decrypt
 *                               failed" for anything that is not a ciphertext of this key.
 */
WZ_API int wz_rsa_dcrypt(char *private_key, char *encode_buffer, int encoded_length,
                         int base64_incode_decode, char **decoded_output_buffer,
                         size_t *decoded_length);

/* What the two stand on. */

/** wz_rsa_encrypt with the arguments in another order: the result's pointer before the base64 flag.
 */
WZ_API int encrypt_with_rsa(char *public_key, char *buffer, int file_size, char **input_buffer,
                            int base64_input_flag, size_t *encoded_length);

/**
 * wz_rsa_dcrypt without the removal of characters, and in place for base64.
 *
 * @param input_buffer         Raw: the ciphertext. Base64: NUL-terminated text without line breaks,
 *                             OVERWRITTEN: the plaintext takes its place, because callers keep one
 *                             buffer for both.
 * @param input_buffer_length  Raw: bytes of ciphertext. Base64: not used.
 * @param base64_input_flag    0: raw; else base64.
 * @param output_buffer        Receives a new block for free(), or `input_buffer` itself for base64.
 */
WZ_API int decrypt_with_rsa(char *privateKey, unsigned char *input_buffer, int input_buffer_length,
                            int base64_input_flag, char **output_buffer, size_t *decoded_length);

/**
 * Reads a key of any size.
 *
 * @param key        PEM text.
 * @param is_public  Not 0: a public key; 0: a private one.
 * @return           A new object for OpenSSL's RSA_free(); null for a text that is no such key.
 */
WZ_API RSA *createRSA(unsigned char *key, int is_public);

/**
 * Measures a key by the number of decimal digits of its modulus: 617 for 2048 bits, 309 for 1024.
 *
 * @param key      PEM text.
 * @param key_len  Receives the measure; left alone, with "Unable to create RSA", for a bad key.
 * @param argument Not 0: a public key; 0: a private one.
 */
WZ_API void Calc_block_set_block_size(unsigned char *key, size_t *key_len, int argument);

/**
 * Encrypts one block with a key of any size.
 *
 * @param data       At most 11 bytes less than the key has.
 * @param encrypted  Receives as many bytes as the key has.
 * @return           That number; -1 when the key or the data is refused.
 */
WZ_API int public_encrypt(unsigned char *data, int data_len, unsigned char *key,
                          unsigned char *encrypted);

/**
 * Decrypts one block with a key of any size.
 *
 * @param decrypted  Receives the plaintext and no byte more; may be `enc_data`.
 * @return           Its length; -1 when the key or the block is refused.
 */
WZ_API int private_decrypt(unsigned char *enc_data, int data_len, unsigned char *key,
                           unsigned char *decrypted);

WZ_END_DECLS

#endif
