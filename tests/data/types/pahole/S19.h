struct S19 {
	signed char                a;                    /*     0     1 */
	unsigned char              b;                    /*     1     1 */
	short int                  c;                    /*     2     2 */
	short unsigned int         d;                    /*     4     2 */

	/* XXX 2 bytes hole, try to pack */

	long int                   e;                    /*     8     8 */
	long unsigned int          f;                    /*    16     8 */
	long long int              g;                    /*    24     8 */
	long long unsigned int     h;                    /*    32     8 */
	float                      i;                    /*    40     4 */

	/* size: 48, cachelines: 1, members: 9 */
	/* sum members: 42, holes: 1, sum holes: 2 */
	/* padding: 4 */
	/* last cacheline: 48 bytes */
};
