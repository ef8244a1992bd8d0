C     WHAT OLD COMPILERS MADE OF IT: LOCALS THAT KEEP THEIR VALUES AND  OLD00010
C     BEGIN AS ZERO, ARGUMENTS OF ANOTHER TYPE, ONE STORAGE SEQUENCE.   OLD00020
      PROGRAM OLD                                                       OLD00030
      COMMON /BLOCK/ N, X                                               OLD00040
      DOUBLE PRECISION X                                                OLD00050
      INTEGER TITLE(2)                                                  OLD00060
      DATA TITLE /4HHOLL, 4HERIT/                                       OLD00070
      DO 10 I = 1, 3                                                    OLD00080
   10 CALL TALLY(I)                                                     OLD00090
      CALL TOTAL(K)                                                     OLD00100
      WRITE(6, 20) TITLE, K                                             OLD00110
   20 FORMAT(1X, 2A4, I6)                                               OLD00120
D     WRITE(6, *) 'A LINE FOR DEBUGGING'                                OLD00130
      X = 1D0                                                           OLD00140
      CALL WORDS                                                        OLD00150
      CALL BITS(1.0)                                                    OLD00160
      CALL BITS(2)                                                      OLD00170
      I = 2147483647                                                    OLD00180
      I = I * 69069 + 1                                                 OLD00190
      J = '7F'X                                                         OLD00200
      TYPE *, I, IIAND(J, 240)                                          OLD00210
      END                                                               OLD00220
      SUBROUTINE TALLY(I)                                               OLD00230
      GO TO (1, 2, 3), I                                                OLD00240
    1 NSUM = NSUM + 1                                                   OLD00250
      RETURN                                                            OLD00260
    2 NSUM = NSUM + 10                                                  OLD00270
      RETURN                                                            OLD00280
    3 NSUM = NSUM + 100                                                 OLD00290
      RETURN                                                            OLD00300
      ENTRY TOTAL(I)                                                    OLD00310
      I = NSUM                                                          OLD00320
      END                                                               OLD00330
      SUBROUTINE WORDS                                                  OLD00340
      COMMON /BLOCK/ N, IX(2)                                           OLD00350
      WRITE(6, 30) IX                                                   OLD00360
   30 FORMAT(1X, 2Z9.8)                                                 OLD00370
      END                                                               OLD00380
      SUBROUTINE BITS(I)                                                OLD00390
      WRITE(6, 40) I                                                    OLD00400
   40 FORMAT(1X, Z8.8)                                                  OLD00410
      END                                                               OLD00420
