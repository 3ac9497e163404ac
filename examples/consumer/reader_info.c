/* examples/consumer/reader_info.c: a program built against an installed vnr_32, as its users build theirs.
 * Opens the reader on COM1, prints its version, reads the identity card on it and saves the photo as the
 * bitmap named on the command line (which needs the photo decoder libGetInfo.so where the library looks for
 * it), prints the card's name in hexadecimal GBK, and closes the reader. Exit status 0 when all of it worked.
 *   reader_info PHOTO.bmp */
#include <vnr_32.h>

#include <stdio.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: reader_info PHOTO.bmp\n");
        return 2;
    }
    const int32_t icdev = device_open_name("COM1", 0, 115200);
    if (icdev < 2) {
        fprintf(stderr, "reader_info: no reader on COM1 (%d)\n", (int)icdev);
        return 1;
    }
    int failed = 0;
    uint8_t length = 0, text[100] = {0};
    if (device_version(icdev, 0, &length, text) == VNR_OK) {
        printf("version: %.*s\n", (int)length, (const char*)text);
    } else {
        failed = 1;
    }
    char errtext[64] = {0};
    const int32_t read = IDCard_ReadCard_Extra(icdev, argv[1], errtext);
    printf("card read: %d\n", (int)read);
    char name[31] = {0};
    if (read == VNR_OK && IDCard_GetCardInfo(icdev, 0, name) == VNR_OK) {
        printf("name (GBK):");
        for (const char* c = name; *c != '\0'; ++c) printf(" %02X", (unsigned)(unsigned char)*c);
        printf("\n");
    } else {
        failed = 1;
    }
    device_close(icdev);
    return failed;
}
