#pragma once

#include <string>
#include <vector>

#include "Byte.h"
#include "Decimal.h"
#include "Sections.h"

/** Commands that the simulated printer gives a meaning to; it prints any other one as it comes. */
enum FiscalCommandCode : byte {
    FiscalCommand_OpenReceipt = 10,   // no fields
    FiscalCommand_Sale = 11,          // name, quantity, price
    FiscalCommand_Text = 12,          // text
    FiscalCommand_Payment = 13,       // kind (1 cash, 2 card), amount
    FiscalCommand_CloseReceipt = 19,  // no fields
};

/** The printing half of the register: receipts and what the two status records tell of them. */
class FiscalPrinter {
public:
    /** Executes a command with its fields and returns its answer code; appends what it prints to paper. */
    byte Execute(byte command, const Record& fields, std::vector<std::string>& paper);

    /** Receipts printed, state, lines on the open receipt, its total, total of all receipts. */
    Record GetStatus() const;
    /** State, card payments, their sum, amount of the last one. */
    Record GetEftStatus() const;

private:
    byte Sell(const Record& fields, std::vector<std::string>& paper);
    static byte PrintText(const Record& fields, std::vector<std::string>& paper);
    byte Pay(const Record& fields, std::vector<std::string>& paper);

    bool m_isOpen = false;
    int m_receipts = 0;
    int m_lines = 0;
    int m_cardPayments = 0;
    Decimal m_total;
    Decimal m_paid;
    Decimal m_dayTotal;
    Decimal m_cardTotal;
    Decimal m_lastCardPayment;
};
