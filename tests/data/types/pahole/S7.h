struct S7 {
	int *                      p;                    /*     0     8 */
	void                       (*f)(int);            /*     8     8 */
	const char  *              s;                    /*    16     8 */
	struct S1 &                r;                    /*    24     8 */
	int *                      arr;                  /*    32     8 */

	/* size: 40, cachelines: 1, members: 5 */
	/* last cacheline: 40 bytes */
};
