struct S5 {
	char                       a;                    /*     0     1 */
	int                        b;                    /*     1     4 */
	long int                   c;                    /*     5     8 */
	short int                  d;                    /*    13     2 */

	/* size: 15, cachelines: 1, members: 4 */
	/* last cacheline: 15 bytes */
} __attribute__((__packed__));
