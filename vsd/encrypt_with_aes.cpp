// The form of AES encryption that scripts have had from the beginning.
#include <wz/wz_script.h>

int wz_encrypt_with_aes_128_cbc(unsigned char* key, unsigned char* iv, unsigned char* intext,
                                unsigned char* cipher) {
  // Deliberate: scripts test this result against 0 only.
  wzlb_encrypt_with_aes_128_cbc(key, iv, intext, cipher);
  return 0;
}
