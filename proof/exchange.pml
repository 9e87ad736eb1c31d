/*
 * The tool, a register and the line between them: transport and session, one or two runs, the first of which may be
 * killed. docs/protocol.md, "What is proved", has the table that proof/run makes of it.
 *
 * Write, ReadFrame, Read, Settle and hasFault are those of src/EcrComm/CommChannels/PortWithTC.cpp, the order of frames
 * that of src/EcrComm/EcrComm.cpp and src/Commands.cpp, IsRepeated, AcceptFrame, ReceiveAck, SendFront and RestartSession
 * those of simulator/Link.cpp, whose register counts attempts where this one has its patience. What changes there changes
 * here. Not here: a change of the version, a password, packets, a register that asks for patience, a line that never
 * gets quiet, a damaged frame that takes the next one with it, a run that does not listen because the line was not used
 * for long. Time is counted in ticks, and passes only when nobody can do anything at once; who is first within a tick
 * is open.
 */

/* What -D sets; proof/run has the cases. */
#ifndef VERSION
#define VERSION 3 /* of the frames; 2 is 3 where damage is always seen */
#endif
#ifndef FIRST
#define FIRST Sell /* commands of the runs: Take (a Read), TakeAndClear, Store (a Send) or Sell */
#endif
#ifndef SECOND
#define SECOND None
#endif
#ifndef KILLS
#define KILLS 0 /* 1: the first run may be killed behind anything that it sends */
#endif
#ifndef RECORDS
#define RECORDS 1
#endif
#ifndef LOSSES
#define LOSSES 1 /* frames or acknowledgements lost or damaged, k */
#endif
#ifndef DAMAGE
#define DAMAGE 1 /* 0: only lost */
#endif
#ifndef DELAY
#define DELAY 0 /* the longest one way, D */
#endif
#ifndef QUIET
#define QUIET 0 /* LineQuietTime, Q; 0: nobody listens */
#endif
#ifndef RESPONSE
#define RESPONSE 2 /* SerialProtocolResponseMaxTime, T */
#endif
#ifndef OPERATION
#define OPERATION 4 /* EcrOperationMaxTime + EcrCommMaxTime */
#endif
#ifndef STALL
#define STALL 4 /* ComStallMaxTime, behind a byte that is no frame */
#endif
#ifndef ATTEMPTS
#define ATTEMPTS 3 /* SerialProtocolRetryCount, A */
#endif
#ifndef PATIENCE
#define PATIENCE 0 /* EcrPatienceTime */
#endif
#ifndef REPEAT
#define REPEAT 2 /* the register sends again after, R */
#endif
#ifndef ECR_PATIENCE
#define ECR_PATIENCE 12 /* and gives a session up of which it has heard nothing new for, P */
#endif
#ifndef PAUSE
#define PAUSE 0 /* the longest one between two runs */
#endif
#ifndef PROPERTY
#define PROPERTY None
#endif
#define Holds(property, condition) assert(PROPERTY != property || (condition))

mtype = { ACK, NAK, NOISE, FRAME, BAD };
mtype = { None, Take, TakeAndClear, Store, Sell }; /* commands */
mtype = { AllStored, ReportTaken, SoldOnce, OwnAnswer, Ends, Succeeds }; /* properties */
mtype = { ReadRequest, WriteRequest, ClearRequest, Command, End, OK, Refusal }; /* what a frame has, or a record */
#define Record(number) (100 + number)
#define IsRecord(what) (what >= 100)

/* Kind, number, what it has, for which frame of the tool it is, and the ticks until it arrives. Whose it is, nobody
   sees: it is for the properties. */
chan toEcr = [14] of { mtype, byte, byte, byte, byte };
chan toTool = [14] of { mtype, byte, byte, byte, byte };
byte toEcrDelay, toToolDelay; /* of the last one: none overtakes */
byte losses = LOSSES;

byte toolTimer, ecrTimer, ecrPatience, elapsed;
bool isDone;

/* What is true: of the runs 1 and 2. */
byte stored[3], executed[3], taken[3];
bool isStored[3];
#define Frame(session, number) (16 * session + number)
#define RunOf(owner) (owner / 16)

inline Carry(line, lastDelay, kind, number, what, owner) {
    do
    :: lastDelay < DELAY -> lastDelay++
    :: break
    od;
    assert(nfull(line));
    printf("arrives %d\n", lastDelay);
    line!kind, number, what, owner, lastDelay
}

inline SendOn(line, lastDelay, kind, number, what, owner) {
    printf("sends %d %e %e\n", _pid, kind, what);
    if
    :: Carry(line, lastDelay, kind, number, what, owner)
    :: losses > 0 -> losses--;
        printf("lost\n")
    :: DAMAGE && losses > 0 -> losses--;
        printf("damaged\n");
        if
        :: kind == FRAME -> Carry(line, lastDelay, BAD, 0, 0, 0)
        :: else -> Carry(line, lastDelay, NOISE, 0, 0, 0)
        fi
    fi
}

/* ---- The register, as simulator/Link.cpp */

chan answers = [2 * ATTEMPTS * (RECORDS + 2)] of { byte, byte }; /* version 1 answers a repeated request again */
byte ecrSendNumber = 1, lastNumber, lastWhat;
bool isSending, hasReceived, isWriting;
byte writer; /* the session whose request it is */

inline SendFront() {
    answers?<answer, answerOwner>;
    SendOn(toTool, toToolDelay, FRAME, ecrSendNumber, answer, answerOwner);
    isSending = true;
    ecrTimer = REPEAT
}

inline ReceiveAck() {
    if
    :: isSending ->
        answers?answer, answerOwner;
        ecrSendNumber++;
        isSending = false;
        ecrPatience = ECR_PATIENCE;
        if
        :: nempty(answers) -> SendFront()
        :: empty(answers)
        fi
    :: else
    fi
}

inline RestartSession() {
    do
    :: answers?answer, answerOwner
    :: empty(answers) -> break
    od;
    isSending = false;
    ecrSendNumber = 1;
    hasReceived = false;
    isWriting = false
}

/* Executes the frame, as simulator/Register.cpp. */
inline Execute() {
    assert(len(answers) + RECORDS + 2 <= 2 * ATTEMPTS * (RECORDS + 2));
    if
    :: what == Command -> /* is taken in any state */
        executed[RunOf(owner)]++;
        Holds(SoldOnce, executed[RunOf(owner)] == 1);
        answers!OK, owner
    :: what != Command && isWriting ->
        if
        :: what == End -> isWriting = false;
            isStored[RunOf(owner)] = (writer == RunOf(owner) && stored[writer] == RECORDS)
        :: IsRecord(what) ->
            if
            :: stored[RunOf(owner)] == what - Record(0) && writer == RunOf(owner) -> stored[writer]++
            :: else
            fi;
            answers!OK, owner
        :: else -> answers!Refusal, owner /* a request is no record */
        fi
    :: what == ReadRequest && !isWriting ->
        answers!OK, owner;
        for (record : 0 .. RECORDS - 1) { answers!Record(record), owner }
        record = 0;
        answers!End, owner
    :: what == WriteRequest && !isWriting ->
        isWriting = true;
        writer = RunOf(owner);
        answers!OK, owner
    :: what == ClearRequest && !isWriting ->
        answers!OK, owner;
        answers!OK, owner
    :: what == End && !isWriting
    :: IsRecord(what) && !isWriting -> answers!Refusal, owner
    fi
}

inline AcceptFrame() {
    if
    :: VERSION > 1 && number == 0 -> RestartSession()
    :: else
    fi;
    hasReceived = true;
    ecrPatience = ECR_PATIENCE;
    lastNumber = number;
    lastWhat = what;
    ReceiveAck(); /* whoever goes on has got the answer */
    SendOn(toTool, toToolDelay, ACK, 0, 0, owner);
    Execute();
    if
    :: !isSending && nempty(answers) -> SendFront()
    :: isSending || empty(answers)
    fi
}

#define IsRepeated                                                                                                   \
    (VERSION > 1 && hasReceived && number == lastNumber &&                                                           \
     (number != 0 || (what == lastWhat && isSending && ecrSendNumber == 1)))

active proctype Register() {
    byte number, what, owner, answer, answerOwner, record;
end:
    do
    :: atomic {
        toEcr?FRAME, number, what, owner, 0 ->
        if
        :: IsRepeated -> SendOn(toTool, toToolDelay, ACK, 0, 0, owner)
        :: else -> AcceptFrame()
        fi;
        number = 0; what = 0; owner = 0; answer = 0; answerOwner = 0
    }
    :: atomic { toEcr?BAD, _, _, _, 0 -> SendOn(toTool, toToolDelay, NAK, 0, 0, 0) }
    :: atomic { toEcr?ACK, _, _, _, 0 -> ReceiveAck(); answer = 0; answerOwner = 0 }
    :: atomic {
        toEcr?NAK, _, _, _, 0 ->
        if
        :: isSending -> SendFront()
        :: else
        fi;
        answer = 0; answerOwner = 0
    }
    :: toEcr?NOISE, _, _, _, 0
    :: atomic { isSending && ecrTimer == 0 -> SendFront(); answer = 0; answerOwner = 0 }
    :: atomic { hasReceived && ecrPatience == 0 -> printf("given up\n"); RestartSession(); answer = 0; answerOwner = 0 }
    od
}

/* ---- The tool, as src/EcrComm/CommChannels/PortWithTC.cpp */

/* The first run may be killed behind it. */
inline ToolSends(aKind, aNumber, aWhat, anOwner) {
    SendOn(toEcr, toEcrDelay, aKind, aNumber, aWhat, anOwner);
    if
    :: session == 1 && kills > 0 -> kills--;
        printf("killed\n");
        goto over
    :: true
    fi
}

/* Reads until a frame is there, over what comes ahead of it; wasTaken tells whether it was the awaited one. */
inline ReadFrame(time) {
    wasTaken = false;
    toolTimer = time;
    do
    :: atomic {
        toTool?FRAME, number, answer, answerOwner, 0 ->
        ToolSends(ACK, 0, 0, 0);
        if
        :: VERSION > 1 && number != receiveNumber -> hasFault = true
        :: else -> receiveNumber++;
            wasTaken = true
        fi;
        number = 0;
        break
    }
    :: atomic { toTool?BAD, _, _, _, 0 -> ToolSends(NAK, 0, 0, 0); hasFault = true; break }
    :: atomic { toTool?ACK, _, _, _, 0 -> hasFault = true; toolTimer = STALL }
    :: atomic { toTool?NAK, _, _, _, 0 -> hasFault = true; toolTimer = STALL }
    :: atomic { toTool?NOISE, _, _, _, 0 -> hasFault = true; toolTimer = STALL }
    :: atomic { toolTimer == 0 -> hasFault = true; break }
    od
}

/* The frame `sent` of the run; isDelivered tells whether it was acknowledged, by an answer frame, too. */
inline Write() {
    isDelivered = false;
    wasTaken = false;
    attempts = 0;
    elapsed = 0;
    do
    :: !isDelivered && attempts < ATTEMPTS && (attempts == 0 || PATIENCE == 0 || elapsed + RESPONSE < PATIENCE) ->
        atomic {
            attempts++;
            ToolSends(FRAME, sendNumber, sent, Frame(session, sendNumber));
            toolTimer = RESPONSE
        }
        if
        :: atomic { toTool?ACK, _, _, _, 0 -> isDelivered = true }
        :: atomic { toTool?NAK, _, _, _, 0 -> hasFault = true }
        :: atomic { toTool?NOISE, _, _, _, 0 -> hasFault = true }
           ReadFrame(OPERATION);
           isDelivered = wasTaken
        :: atomic { toTool?[FRAME, _, _, _, 0] || toTool?[BAD, _, _, _, 0] -> hasFault = true }
           ReadFrame(OPERATION);
           isDelivered = wasTaken
        :: atomic { toolTimer == 0 -> hasFault = true }
        fi
    :: else -> break
    od;
    attempts = 0
}

/* The next frame, if none stands there behind Write; wasTaken tells whether it came. */
inline Read() {
    do
    :: !wasTaken && attempts < ATTEMPTS -> attempts++;
        ReadFrame(OPERATION)
    :: else -> break
    od;
    attempts = 0;
    toolTimer = 0
}

/* Listens until the line has been quiet for so long. */
inline Settle() {
    if
    :: QUIET > 0 && hasFault ->
        toolTimer = QUIET;
        do
        :: atomic { toTool?FRAME, _, _, _, 0 -> ToolSends(ACK, 0, 0, 0); toolTimer = QUIET }
        :: atomic { toTool?BAD, _, _, _, 0 -> ToolSends(NAK, 0, 0, 0); toolTimer = QUIET }
        :: atomic { toTool?ACK, _, _, _, 0 -> toolTimer = QUIET }
        :: atomic { toTool?NAK, _, _, _, 0 -> toolTimer = QUIET }
        :: atomic { toTool?NOISE, _, _, _, 0 -> toolTimer = QUIET }
        :: toolTimer == 0 -> break
        od;
        hasFault = false
    :: else
    fi
}

active proctype Tool() {
    byte session, sendNumber, receiveNumber, attempts, number, answer, answerOwner, sent, expected;
    byte kills = KILLS;
    mtype command = FIRST;
    bool hasFault, isDelivered, wasTaken, hasUnnumberedFault;

next:
    session++;
    printf("begins %d\n", session);
    sendNumber = 0;
    receiveNumber = 1;
    hasFault = session == 2; /* there may be something left of the first one */
    Settle();
    hasFault = false;
    sent = (command == Sell -> Command : (command == Store -> WriteRequest : ReadRequest));
    do
    :: if
        :: sent == End -> Settle()
        :: sent == ClearRequest ->
            if
            :: VERSION == 1 && hasUnnumberedFault -> goto failed
            :: else
            fi;
            Holds(ReportTaken, taken[session] == RECORDS)
        :: else
        fi;
        Write();
        if
        :: !isDelivered -> goto failed
        :: else
        fi;
        /* its answers */
        expected = (sent == End -> None : OK);
        do
        :: expected == None -> break
        :: else ->
            Read();
            hasUnnumberedFault = hasUnnumberedFault || hasFault;
            if
            :: !wasTaken -> goto failed
            :: else
            fi;
            Holds(OwnAnswer, answerOwner == Frame(session, sendNumber));
            wasTaken = false;
            if
            :: answer == OK && expected == OK ->
                expected = (sent == ReadRequest -> Record(0) : (sent == ClearRequest -> End : None))
            :: answer == OK && expected == End && sent == ClearRequest -> expected = None
            :: IsRecord(answer) && sent == ReadRequest && expected != OK ->
                if
                :: taken[session] == answer - Record(0) && answerOwner == Frame(session, sendNumber) -> taken[session]++
                :: else
                fi
            :: answer == End && sent == ReadRequest && expected != OK -> expected = None
            :: else -> goto failed
            fi
        od;
        sendNumber++;
        if
        :: sent == WriteRequest -> sent = Record(0)
        :: IsRecord(sent) -> sent = (sent == Record(RECORDS - 1) -> End : sent + 1)
        :: sent == ReadRequest && command == TakeAndClear -> sent = ClearRequest
        :: else -> break
        fi
    od;
    Settle();
    printf("status 0\n");
    Holds(AllStored, command != Store || isStored[session]);
    Holds(SoldOnce, command != Sell || executed[session] == 1);
    goto over;
failed:
    Holds(Succeeds, false);
    printf("status 5\n");
    Settle();
over:
    command = SECOND;
    attempts = 0; answer = 0; answerOwner = 0; isDelivered = false; wasTaken = false; hasUnnumberedFault = false;
    hasFault = false; sent = 0; expected = 0; number = 0; toolTimer = 0;
    if
    :: session == 1 && SECOND != None ->
        do
        :: toolTimer < PAUSE -> toolTimer++
        :: break
        od;
        do
        :: toTool?_, _, _, _, 0 /* nobody is there */
        :: toolTimer == 0 -> break
        od;
        goto next
    :: else
    fi;
    isDone = true
}

/* ---- Time */

inline TickLine(line, lastDelay) {
    for (i : 1 .. len(line)) {
        line?kind, number, what, owner, delay;
        line!kind, number, what, owner, delay - 1
    }
    lastDelay = (lastDelay > 0 -> lastDelay - 1 : 0)
}

active proctype Clock() {
    mtype kind;
    byte number, what, owner, delay, i;
    do
    :: isDone -> break
    :: timeout ->
    d_step {
        printf("tick\n");
        toolTimer = (toolTimer > 0 -> toolTimer - 1 : 0);
        ecrTimer = (ecrTimer > 0 -> ecrTimer - 1 : 0);
        ecrPatience = (ecrPatience > 0 -> ecrPatience - 1 : 0);
        elapsed = (elapsed < PATIENCE -> elapsed + 1 : elapsed);
        TickLine(toEcr, toEcrDelay);
        TickLine(toTool, toToolDelay);
        kind = 0; number = 0; what = 0; owner = 0; delay = 0; i = 0
    }
    od
}
