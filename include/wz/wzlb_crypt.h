/* AES, digests and signatures, through OpenSSL, with base64 where the result is text.
 *
 * Keys, initialisation vectors and PEM texts come from the caller of each call; the library holds
 * none and keeps nothing between calls. Key and IV are bytes, of the lengths that the cipher
 * expects (16, 24 or 32 for the key, 16 for the IV) and that nobody can check: give no shorter
 * ones.
 *
 * Every argument must be there unless said otherwise; a null one, a negative length and a key or IV
 * that is missing fail like the OpenSSL call that would need it. Failures are told by the result.
 * OpenSSL's own account of them goes to standard error and its error queue is empty afterwards.
 * The AES calls write a text to `enc_err_msg` as well (null: no text); it holds the input that was
 * refused, so give it the room of that and 128 bytes more. It is not touched by successful calls.
 *
 * Any thread may call any of them on buffers of its own. */
#ifndef WZLB_CRYPT_H
#define WZLB_CRYPT_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** OpenSSL's cipher description, as EVP_aes_128_cbc() and its like return it. */
typedef struct evp_cipher_st EVP_CIPHER;

/* The values of wzlb_do_crypt's `encryption_algo`. ECB is deliberately there with a key of 192 bits
 * and with no other. */
#define WZLB_AES_128_CBC 1
#define WZLB_AES_128_CTR 2
#define WZLB_AES_192_CBC 3
#define WZLB_AES_192_CTR 4
#define WZLB_AES_192_ECB 5
#define WZLB_AES_256_CBC 6
#define WZLB_AES_256_CTR 7

/* The values of the `algo` of wzlb_evp_digest and wzlb_evp_sign. */
#define WZLB_DIGEST_SHA1 1
#define WZLB_DIGEST_SHA256 2

/**
 * Encrypts. The ciphertext is as long as the input in CTR mode; in CBC and ECB mode the input is
 * padded (PKCS#7) to the next multiple of 16, by 1 to 16 bytes.
 *
 * @param buffer              The plaintext; may be `out_buffer` when the result is raw. With base64
 *                            it is OVERWRITTEN by the ciphertext, so it needs the room of that (up
 *                            to 16 bytes more than `buff_length`). May be null when raw and empty.
 * @param buff_length         Bytes of plaintext.
 * @param type                An AES cipher in CBC, CTR or ECB mode.
 * @param key,iv              See the top; ECB ignores the IV.
 * @param do_base64_encoding  0: the result is the raw ciphertext. Else it is base64, without a NUL.
 * @param out_buffer          Receives the result.
 * @param out_buffer_size     Its size in bytes. A raw ciphertext that is longer is cut to it.
 * @param enc_err_msg         See the top.
 * @return                    With base64 the length of the text; -1 when it does not fit. Raw, -1
 *                            or, deliberately, `out_buffer_size` whatever the ciphertext's length:
 *                            callers pass the size that they expect and take it for the length.
 */
WZ_API int wzlb_encrypt_with_aes(unsigned char *buffer, int buff_length, const EVP_CIPHER *type,
                                 unsigned char *key, unsigned char *iv, char do_base64_encoding,
                                 unsigned char *out_buffer, int out_buffer_size, char *enc_err_msg);

/**
 * Decrypts within `out_buffer`.
 *
 * @param buffer              With base64, the text to decrypt. Raw, it is not looked at: the
 *                            ciphertext is already in `out_buffer`, and its length is
 *                            `out_buffer_size`. Deliberate: replies are decrypted where they lie.
 * @param buff_length         With base64, its characters, a multiple of four.
 * @param type,key,iv         As it was encrypted.
 * @param do_base64_decoding  0: raw.
 * @param out_buffer          Receives the plaintext, without a NUL.
 * @param out_buffer_size     Its size in bytes. With base64 give room for `buff_length` / 4 x 3
 *                            bytes: the bytes under the padding are put there too.
 * @param enc_err_msg         See the top. Raw, the text holds nothing of the input.
 * @return                    Bytes of plaintext; -1 for a wrong key (in CBC and ECB mode, but for
 *                            one case in 256), a ciphertext of a wrong length and bad base64.
 *                            `out_buffer` then holds nothing of use.
 */
WZ_API int wzlb_decrypt_with_aes(unsigned char *buffer, int buff_length, const EVP_CIPHER *type,
                                 unsigned char *key, unsigned char *iv, char do_base64_decoding,
                                 unsigned char *out_buffer, int out_buffer_size, char *enc_err_msg);

/**
 * wzlb_encrypt_with_aes or wzlb_decrypt_with_aes with the cipher of a code.
 *
 * @param encryption_algo     WZLB_AES_128_CBC ... WZLB_AES_256_CTR.
 * @param do_base64_encoding  Not 0: the ciphertext is base64, either way.
 * @param do_encrypt          0: decrypt.
 * @return                    The result of that call; -1, with nothing touched, for another code.
 */
WZ_API int wzlb_do_crypt(unsigned char *buffer, int buff_length, char encryption_algo,
                         char do_base64_encoding, unsigned char *key, unsigned char *iv,
                         unsigned char *out_buffer, int out_buffer_size, char do_encrypt,
                         char *enc_err_msg);

/**
 * AES-128-CBC of a text, as base64. The base64 is that of wzlb_encode_base64, which ends at the
 * ciphertext's first zero byte: one ciphertext of 16 bytes in 16 comes out too short to be
 * decrypted. Existing scripts exchange this form; use wzlb_do_crypt for anything new.
 *
 * @param intext  NUL-terminated text.
 * @param cipher  Room for 4 x ((strlen(intext) + 18) / 3) + 1 bytes. Receives the NUL-terminated
 *                base64.
 * @return        1; 0 for a null argument, a failure of the cipher, or a ciphertext that begins
 *                with a zero byte (nothing but the ciphertext is in `cipher` then).
 */
WZ_API int wzlb_encrypt_with_aes_128_cbc(unsigned char *key, unsigned char *iv,
                                         unsigned char *intext, unsigned char *cipher);

/**
 * The base64 of a digest.
 *
 * @param buffer  Bytes to digest; null when there are none.
 * @param len     How many. Deliberately also the size of `hash`: of an input shorter than 29 bytes
 *                (SHA-1) or 45 bytes (SHA-256) only the first `len` characters are stored, without
 *                a NUL. Callers who compare such short forms rely on it.
 * @param algo    WZLB_DIGEST_SHA1 (28 characters) or WZLB_DIGEST_SHA256 (44 characters).
 * @param hash    Receives the NUL-terminated base64, as far as `len` goes.
 * @return        0, also for a text that was cut; -1 for another `algo` and when OpenSSL fails.
 */
WZ_API int wzlb_evp_digest(char *buffer, int len, int algo, unsigned char *hash);

/**
 * The base64 of a signature: PKCS#1 v1.5 for RSA keys, DER for EC keys.
 *
 * @param buffer     Bytes to sign; null when there are none.
 * @param len        How many.
 * @param algo       WZLB_DIGEST_SHA1 or WZLB_DIGEST_SHA256.
 * @param privKey    PEM text of a private key, NUL-terminated. One that is encrypted is refused:
 *                   nobody is asked for a pass phrase.
 * @param signature  Receives the NUL-terminated base64: 345 bytes for a 2048-bit RSA key.
 * @param sig_size   Its size in bytes; a longer text is cut there, without a NUL.
 * @return           0, deliberately also for a text that was cut; -1 for a bad key, another `algo`
 *                   or a failure of OpenSSL's.
 */
WZ_API int wzlb_evp_sign(char *buffer, int len, int algo, char *privKey, unsigned char *signature,
                         int sig_size);

WZ_END_DECLS

#endif
