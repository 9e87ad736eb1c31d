#pragma once

#include <string>
#include <vector>

#include "Byte.h"
#include "Decimal.h"
#include "Sections.h"

/** The printing half of the register: receipts and what the two status records tell of them. */
class FiscalPrinter {
public:
    /** Executes a command with its fields and returns its answer code; appends what it prints to paper. */
    byte Execute(byte command, const Record& fields, std::vector<std::string>& paper);

    /** Receipts printed, state, lines on the open receipt, its total, total of all receipts. */
    Record GetStatus() const;
    /** State, card payments, their sum, amount of the last one. */
    Record GetEftStatus() const;

    byte Open(const Record& fields, std::vector<std::string>& paper);
    byte Sell(const Record& fields, std::vector<std::string>& paper);
    byte PrintText(const Record& fields, std::vector<std::string>& paper);
    byte Pay(const Record& fields, std::vector<std::string>& paper);
    byte Close(const Record& fields, std::vector<std::string>& paper);

private:
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

enum class ReceiptState { Any, Open, Closed };

/** A command that the simulated printer gives a meaning to; any other one is printed as it comes. */
struct PrinterCommand {
    byte code;
    const char* meaning;  // as docs/fiscal.md has it, with its fields
    ReceiptState when;    // it can be executed
    byte (FiscalPrinter::*execute)(const Record& fields, std::vector<std::string>& paper);
    const char* example;  // fields, as they stand behind the code in a file of commands
    const char* printed;  // by it
};

/** In the order of their codes, in which the examples make a receipt. */
inline constexpr PrinterCommand printerCommands[] = {
    {10, "open receipt", ReceiptState::Closed, &FiscalPrinter::Open, "", "RECEIPT 1"},
    {11, "sale with name, quantity, price", ReceiptState::Open, &FiscalPrinter::Sell, ",\"Tea\",2,1.25",
     "Tea  2 x 1.25"},
    {12, "text", ReceiptState::Any, &FiscalPrinter::PrintText, ",\"Thank you!\"", "Thank you!"},
    {13, "payment with 1 for cash or 2 for card, amount", ReceiptState::Open, &FiscalPrinter::Pay, ",2,2.5",
     "Card"},
    {19, "close receipt", ReceiptState::Open, &FiscalPrinter::Close, "", "----"}};
