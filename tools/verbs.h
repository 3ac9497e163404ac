// tools/verbs.h: the command-line tool. The run function of each verb; vnr.cpp lists them in its table.
// Each takes the arguments after the verb and returns the exit status.
#pragma once

namespace vnr::tool {

int info_command(int argc, char** argv);      // info_command.cpp
int list_command(int argc, char** argv);      // list_command.cpp
int statuses_command(int argc, char** argv);  // statuses_command.cpp
int idcard_command(int argc, char** argv);    // idcard_command.cpp
int image_command(int argc, char** argv);     // image_command.cpp
int wlt_command(int argc, char** argv);       // idcard_command.cpp
int beep_command(int argc, char** argv);      // beep_command.cpp
int led_command(int argc, char** argv);       // led_command.cpp
int serial_command(int argc, char** argv);    // serial_command.cpp
int eeprom_command(int argc, char** argv);    // eeprom_command.cpp
int stripe_command(int argc, char** argv);    // stripe_command.cpp
int pin_command(int argc, char** argv);       // pin_command.cpp
int contact_command(int argc, char** argv);   // contact_command.cpp
int rf_command(int argc, char** argv);        // rf_command.cpp
int mifare_command(int argc, char** argv);    // mifare_command.cpp
int ntag_command(int argc, char** argv);      // ntag_command.cpp
int card_kind_command(int argc, char** argv);  // card_kind_command.cpp
int des_command(int argc, char** argv);        // des_command.cpp
int doctor_command(int argc, char** argv);     // doctor_command.cpp
int bank_command(int argc, char** argv);      // bank_command.cpp

}  // namespace vnr::tool
