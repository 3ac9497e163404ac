/* examples/consumer/bank_card.c: a program built against an installed vnr_32 and vnr_emv. Reads the bank card
 * in contact slot 0 of the reader on COM1 as a payment terminal does and prints its number, expiry and name.
 *   bank_card */
#include <vnr_32.h>
#include <vnr_emv.h>

#include <stdio.h>

int main(void) {
    const int32_t icdev = device_open_name("COM1", 0, 115200);
    if (icdev < 2) {
        fprintf(stderr, "bank_card: no reader on COM1 (%d)\n", (int)icdev);
        return 1;
    }
    vnr_emv_card card;
    const int32_t result = vnr_emv_read(icdev, VNR_EMV_CONTACT, &card);
    if (result == VNR_EMV_OK) printf("%s %s %s\n", card.pan, card.expiry, card.holder_name);
    else printf("not read: %s: %s\n", vnr_emv_result_text(result), card.reason);
    device_close(icdev);
    return result == VNR_EMV_OK ? 0 : 1;
}
